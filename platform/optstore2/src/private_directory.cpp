#include "private_directory.h"

#include <cerrno>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace optstore2 {
namespace {

constexpr mode_t c_privateMode = S_IRWXU;

std::string makeDirectory(std::filesystem::path const& directory) {
    if (mkdir(directory.c_str(), c_privateMode) != 0 && errno != EEXIST)
        return std::generic_category().message(errno);
    return {};
}

/// Whoever may write the directory above could put another directory in place of a tested one.
std::string faultOfParent(std::filesystem::path const& parent) {
    struct stat status {};
    if (stat(parent.c_str(), &status) != 0)
        return std::generic_category().message(errno);
    if (status.st_uid != geteuid() && status.st_uid != 0)
        return "the directory above belongs to another user";
    if ((status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0)
        return "the directory above is open to all";
    return {};
}

/// The link itself is tested and not what it leads to, so that nobody can lead the user astray.
std::string faultOfDirectory(std::filesystem::path const& directory) {
    struct stat status {};
    if (lstat(directory.c_str(), &status) != 0)
        return std::generic_category().message(errno);
    if (!S_ISDIR(status.st_mode))
        return "it is no directory";
    if (status.st_uid != geteuid())
        return "it belongs to another user";
    if ((status.st_mode & ACCESSPERMS) != c_privateMode)
        return "its mode is not 0700";
    return {};
}

} // namespace

std::string preparePrivateDirectory(std::filesystem::path const& directory) {
    if (directory.empty())
        return "there is none";
    std::filesystem::path const parent = directory.parent_path();
    std::string fault = makeDirectory(parent);
    if (fault.empty())
        fault = faultOfParent(parent);
    if (fault.empty())
        fault = makeDirectory(directory);
    return fault.empty() ? faultOfDirectory(directory) : fault;
}

} // namespace optstore2
