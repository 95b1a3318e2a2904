#pragma once

#include <lokata/profile/export.h>

#include <toolbelt2/mutex.h>

#include <map>
#include <string>

namespace lokata::profile {

/// Whether paths lead to anything. A directory that is not there is asked for once, and then
/// nothing in it: what comes into being later is not seen. Callable from any thread. It keeps an
/// entry for each directory that it was asked about.
class PresentPaths {
public:
    bool leadsAnywhere(std::string const& path);

private:
    bool holds(std::string const& directory);

    toolbelt2::mutex_t m_mutex;
    std::map<std::string, bool> m_directories TOOLBELT2_GUARDED_BY(m_mutex);
};

} // namespace lokata::profile
