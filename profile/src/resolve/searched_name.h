#pragma once

#include <lokata/profile/profile.h>

#include <string>

namespace lokata::profile {

/// The name under which the library is asked for the binary of a module: without marks, with
/// "vmlinux" for a kernel and "ext4.ko" for "[ext4]".
std::string searchedName(Module const& module);

} // namespace lokata::profile
