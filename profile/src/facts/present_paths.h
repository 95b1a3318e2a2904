#pragma once

#include <lokata/profile/export.h>

#include <toolbelt2/mutex.h>

#include <map>
#include <string>
#include <system_error>

namespace lokata::profile {

/// The error that keeps from telling whether anything is at a path; none if that can be told.
std::error_code whyUntold(std::string const& path);

/// Whether paths lead to anything, or may do so as it cannot be told. A directory that is not there
/// is asked for once, and then nothing in it: what comes into being later is not seen. Callable
/// from any thread. It keeps an entry for each directory that it was asked about.
class PresentPaths {
public:
    bool leadsAnywhere(std::string const& path);

private:
    bool holds(std::string const& directory);

    toolbelt2::mutex_t m_mutex;
    std::map<std::string, bool> m_directories TOOLBELT2_GUARDED_BY(m_mutex);
};

} // namespace lokata::profile
