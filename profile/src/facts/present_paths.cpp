#include "facts/present_paths.h"

#include <toolbelt2/path.h>

#include <cerrno>

#include <sys/stat.h>

namespace lokata::profile {

namespace {

bool isMissing(int error) {
    return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

bool isThere(std::string const& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 || !isMissing(errno);
}

} // namespace

std::error_code whyUntold(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 || isMissing(errno))
        return {};
    return {errno, std::generic_category()};
}

bool PresentPaths::leadsAnywhere(std::string const& path) {
    return holds(toolbelt2::parent_of(path)) && isThere(path);
}

bool PresentPaths::holds(std::string const& directory) {
    {
        toolbelt2::mutex_guard_t const guard(m_mutex);
        if (auto const known = m_directories.find(directory); known != m_directories.end())
            return known->second;
    }
    bool const result = isThere(directory);
    toolbelt2::mutex_guard_t const guard(m_mutex);
    m_directories.emplace(directory, result);
    return result;
}

} // namespace lokata::profile
