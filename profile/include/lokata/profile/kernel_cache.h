#pragma once

/// Unpacks compressed kernel images, and modules that are packed as files: into a file of the
/// caller, or where searches of the library keep their copies, below the product's private
/// directory, by the MD5 of the image.

#include <lokata/profile/export.h>

#include <string>

namespace lokata::profile {

struct UnpackedKernel {
    std::string path;  ///< Of the unpacked kernel; empty without one.
    std::string error; ///< Why there is none, for a person.
};

/// Unpacks an image, unless a copy of its kernel is there already, with beside it, in
/// "vmlinux.md5", the MD5 that it still has; any other copy is replaced. The copy of a module is
/// called as the module is, without the ending for packing. The copy appears whole or not at all,
/// and the note after it. Callable from any thread and process at the same time: each writes a file
/// of its own, and the last one stays. Throws std::bad_alloc only.
LOKATA_PROFILE_EXPORT UnpackedKernel unpackedKernel(std::string const& image);

/// Unpacks an image to `target`, in a directory that exists. The target appears, or takes the place
/// of an older one, when it is whole; what is no regular file, or the image itself, is not
/// replaced. Nothing is taken from the copies or put to them. Callable from any thread. Throws
/// std::bad_alloc only.
LOKATA_PROFILE_EXPORT UnpackedKernel unpackKernelTo(std::string const& image,
                                                    std::string const& target);

} // namespace lokata::profile
