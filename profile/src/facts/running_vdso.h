#pragma once

#include <lokata/profile/build_id.h>

#include <string>

namespace lokata::profile {

/// A copy, in the private directory of the user, of the code that the running kernel maps into this
/// process (vdso(7)). Empty if its build-id is another, or if there is no such directory. Callable
/// from any thread.
std::string copyOfRunningVdso(BuildId const& buildId);

} // namespace lokata::profile
