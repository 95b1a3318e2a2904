#include "search/present_paths.h"

#include <toolbelt2/path.h>

#include <sys/stat.h>

namespace lokata::profile {

namespace {

bool isThere(std::string const& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

} // namespace

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
