#pragma once

#include <optstore2/export.h>

#include <string>

/// Where the user keeps files, as the XDG Base Directory Specification has it. The environment is
/// not asked in a program with set-user-ID or the like. A directory need not exist. Callable from
/// any thread as long as none changes the environment.
namespace optstore2 {

/// HOME if that is an absolute path, or else what the user database says of the effective user;
/// empty if neither tells one.
OPTSTORE2_EXPORT std::string homeDirectory();

/// XDG_CONFIG_HOME if that is an absolute path, or else ".config" in the home directory; empty
/// without one.
OPTSTORE2_EXPORT std::string configDirectory();

/// XDG_CACHE_HOME and ".cache" in the same way.
OPTSTORE2_EXPORT std::string cacheDirectory();

} // namespace optstore2
