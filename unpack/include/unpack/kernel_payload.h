#pragma once

/// The kernel, or the module, inside a file of /boot or /lib/modules: a kernel image (vmlinuz) with
/// a compressed kernel in it, or a file that is packed as a whole (.ko.xz), see packed_file.h.

#include <cstdint>
#include <string>
#include <string_view>

namespace lokata::unpack {

/// The outcome of `unpackKernel`.
struct UnpackResult {
    bool ok = false;
    std::uint64_t size = 0; ///< Bytes unpacked.
    std::string message;    ///< Why it failed, in one sentence.
};

/// The default limit of what a kernel or a module may have when unpacked, in bytes.
constexpr std::uint64_t c_maxKernel = std::uint64_t{1} << 30;

/// Unpacks the kernel in `image` to `target`, whose directory must exist. The payload is found by
/// the x86 boot protocol's or the EFI zboot header, in a file that is packed as a whole, or by a
/// scan for signatures, and its first bytes tell whether a kernel is in there. Only a regular file
/// is opened.
///
/// The data goes to a hidden file beside `target`, which takes the target's name only when it is
/// whole: a failure leaves an older `target` as it was and nothing new. A `target` that exists and
/// is not a regular file, as a symbolic link or a pipe is not, or that is `image` itself, is
/// refused. So is a payload that is damaged, cut short or of more than `maxSize` bytes unpacked.
///
/// Callable from any thread; throws `std::bad_alloc` only. Memory use does not grow with the file.
UnpackResult unpackKernel(std::string const& image, std::string const& target,
                          std::uint64_t maxSize = c_maxKernel);

/// The most bytes that `isKernelImage` looks at.
constexpr std::uint64_t c_kernelHeader = 0x250;

/// True for the start of a file that the header of a boot protocol marks as a kernel image,
/// whatever its name. Images of other forms are found by `unpackKernel` alone.
bool isKernelImage(std::string_view start);

} // namespace lokata::unpack
