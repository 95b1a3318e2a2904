#include <optstore2/product_locations.h>
#include <optstore2/user_directories.h>

#include "private_directory.h"

#include <logmast_1/logmast_1.h>

#include <log4cplus/loggingmacros.h>
#include <toolbelt2/mutex.h>

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <system_error>

namespace optstore2 {
namespace {

/// Absolute and without a separator at the end, behind which a symbolic link would be followed.
std::filesystem::path directoryItself(char const* name) {
    std::error_code error;
    std::filesystem::path const path = std::filesystem::absolute(name, error).lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

std::filesystem::path defaultDirectory() {
    std::string const cache = cacheDirectory();
    return cache.empty() ? std::filesystem::path() : directoryItself(cache.c_str()) / "lokata";
}

class ProductLocations : public IProductLocations {
public:
    char const* getTempDirectory() override;
    void setTempDirectory(char const* directory) override;
    std::string faultOfTempDirectory() override;

private:
    std::filesystem::path directory() const TOOLBELT2_REQUIRES(m_lock) {
        return m_directory ? *m_directory : defaultDirectory();
    }

    log4cplus::Logger const m_logger = logmast_1::log::configureComponentLogger("optstore2");

    toolbelt2::mutex_t m_lock;
    std::optional<std::filesystem::path> m_directory TOOLBELT2_GUARDED_BY(m_lock);
    /// Only grows: callers hold pointers into it.
    std::set<std::string> m_given TOOLBELT2_GUARDED_BY(m_lock);
};

char const* ProductLocations::getTempDirectory() {
    toolbelt2::mutex_guard_t const guard(m_lock);
    std::filesystem::path const wanted = directory();
    std::string const fault = preparePrivateDirectory(wanted);
    if (!fault.empty()) {
        LOG4CPLUS_ERROR(m_logger, "No temporary directory: " << wanted << ": " << fault);
        return "";
    }
    return m_given.insert(wanted.string()).first->c_str();
}

void ProductLocations::setTempDirectory(char const* directory) {
    toolbelt2::mutex_guard_t const guard(m_lock);
    m_directory = directory != nullptr ? std::optional(directoryItself(directory)) : std::nullopt;
}

std::string ProductLocations::faultOfTempDirectory() {
    toolbelt2::mutex_guard_t const guard(m_lock);
    std::string const fault = preparePrivateDirectory(directory());
    return fault.empty() || directory().empty() ? fault : directory().string() + ": " + fault;
}

} // namespace

IProductLocations* IProductLocations::get() {
    // Never destroyed: static objects of other libraries may ask on their way out.
    static auto* const s_pLocations = new ProductLocations;
    return s_pLocations;
}

} // namespace optstore2
