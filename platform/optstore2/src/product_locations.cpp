#include <optstore2/product_locations.h>

#include "private_directory.h"

#include <logmast_1/logmast_1.h>

#include <log4cplus/loggingmacros.h>
#include <toolbelt2/mutex.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <pwd.h>
#include <set>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace optstore2 {
namespace {

/// The home directory of the effective user; empty if the user database knows none.
std::filesystem::path homeDirectory() {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE)
        buffer.resize(buffer.size() * 2);
    return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

std::filesystem::path defaultDirectory() {
    std::filesystem::path const home = homeDirectory();
    return home.is_absolute() ? home / ".cache/lokata" : std::filesystem::path();
}

/// Absolute and without a separator at the end, behind which a symbolic link would be followed.
std::filesystem::path directoryItself(char const* name) {
    std::error_code error;
    std::filesystem::path const path = std::filesystem::absolute(name, error).lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

class ProductLocations : public IProductLocations {
public:
    char const* getTempDirectory() override;
    void setTempDirectory(char const* directory) override;

private:
    log4cplus::Logger const m_logger = logmast_1::log::configureComponentLogger("optstore2");

    toolbelt2::mutex_t m_lock;
    std::optional<std::filesystem::path> m_directory TOOLBELT2_GUARDED_BY(m_lock);
    /// Only grows: callers hold pointers into it.
    std::set<std::string> m_given TOOLBELT2_GUARDED_BY(m_lock);
};

char const* ProductLocations::getTempDirectory() {
    toolbelt2::mutex_guard_t const guard(m_lock);
    std::filesystem::path const directory = m_directory ? *m_directory : defaultDirectory();
    std::string const fault = preparePrivateDirectory(directory);
    if (!fault.empty()) {
        LOG4CPLUS_ERROR(m_logger, "No temporary directory: " << directory << ": " << fault);
        return "";
    }
    return m_given.insert(directory.string()).first->c_str();
}

void ProductLocations::setTempDirectory(char const* directory) {
    toolbelt2::mutex_guard_t const guard(m_lock);
    m_directory = directory != nullptr ? std::optional(directoryItself(directory)) : std::nullopt;
}

} // namespace

IProductLocations* IProductLocations::get() {
    // Never destroyed: static objects of other libraries may ask on their way out.
    static auto* const s_pLocations = new ProductLocations;
    return s_pLocations;
}

} // namespace optstore2
