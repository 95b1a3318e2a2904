#pragma once

/// What a running process has mapped.

#include <lokata/profile/profile.h>

#include <cstdint>

namespace lokata::profile {

/// The modules of a process of this machine, as /proc/PID/maps lists them (proc(5)), with the
/// build-ids of the very files that are mapped, which may be removed, replaced, or files of another
/// mount namespace. They come out of the memory of the process or, where that may not be read, out
/// of the file, if the kernel lets it be reached through the mapping or it lies under its name. A
/// process that does not run, has no mappings or may not be looked at is told in `errors`, and
/// leaves no modules. Callable from any thread; throws std::bad_alloc only.
LOKATA_PROFILE_EXPORT Profile readProcess(std::uint32_t process);

} // namespace lokata::profile
