#include "message_files.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <dlfcn.h>
#include <exception>
#include <fstream>
#include <system_error>

namespace optstore2 {

namespace fs = std::filesystem;

std::optional<messages_t> readMessageFile(fs::path const& file, std::string& fault) {
    std::error_code error;
    if (fs::status(file, error).type() == fs::file_type::not_found)
        return std::nullopt;
    std::ifstream stream(file);
    if (!stream) {
        fault = std::generic_category().message(errno);
        return std::nullopt;
    }
    try {
        return nlohmann::json::parse(stream).get<messages_t>();
    } catch (std::exception const& failure) {
        fault = failure.what();
        return std::nullopt;
    }
}

namespace {

std::vector<fs::path> lookForInstallation() {
    std::vector<fs::path> directories;
    Dl_info self{};
    std::error_code error;
    if (dladdr(reinterpret_cast<void const*>(&installedMessageDirectories), &self) != 0) {
        fs::path const library = fs::canonical(self.dli_fname, error);
        if (!error) {
            // A library lies in lib, or in lib/<multiarch triplet>.
            fs::path const above = library.parent_path().parent_path();
            directories.push_back(above / "share/lokata/messages");
            directories.push_back(above.parent_path() / "share/lokata/messages");
        }
    }
    directories.emplace_back(OPTSTORE2_DATA_DIRECTORY "/lokata/messages");
    return directories;
}

} // namespace

std::vector<fs::path> const& installedMessageDirectories() {
    static auto const& s_directories = *new std::vector<fs::path>(lookForInstallation());
    return s_directories;
}

namespace {

/// Asked once while the library is loaded: the loader may know it by a relative path, which means
/// another place when the process has changed its directory.
[[maybe_unused]] auto const& g_askedAtLoad = installedMessageDirectories();

} // namespace

} // namespace optstore2
