#pragma once

#include <filesystem>
#include <string>

namespace optstore2 {

/// Sees to it that the directory exists and that it is the effective user's alone, and makes it
/// and the directory above where they are missing. The path is absolute, without a separator at
/// its end, or empty. Gives the empty text, or what stands against the directory.
std::string preparePrivateDirectory(std::filesystem::path const& directory);

} // namespace optstore2
