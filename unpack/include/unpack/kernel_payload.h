#pragma once

/// The kernel, or the module, inside a file of /boot or /lib/modules: a kernel image (vmlinuz) with
/// a compressed kernel in it, or a file that gzip, xz or zstd packed as a whole (.ko.xz). Nothing
/// here throws, but for `std::bad_alloc`; every function may be called on any thread. Memory use
/// does not grow with the file.

#include <unpack/compression.h>

#include <cstdint>
#include <optional>
#include <string>

namespace lokata::unpack {

/// What is inside: an ELF file (a vmlinux or a module), or the flat boot image that arm64, riscv
/// and loongarch kernels are packed from. A flat image carries no build-id note.
enum class KernelKind { elf, boot_image };

/// The compressed kernel inside an image.
struct Payload {
    Compression compression;
    std::uint64_t offset; ///< first byte in the image file
    std::uint64_t end;    ///< behind the last byte that may belong to it
    /// True for a file that was packed as a whole: its streams make up all of the file. Otherwise
    /// the kernel is one stream, and something else may follow.
    bool is_whole_file;
};

/// The outcome of a look at a file.
struct FindResult {
    std::optional<KernelKind> kind; ///< unset if there is no kernel or module in it
    std::optional<Payload> payload; ///< unset too for a file that is one itself, and not packed
    std::string message;            ///< without a payload why, in one sentence
};

/// Finds the payload of `image` by the x86 boot protocol's or the EFI zboot header, in a file that
/// is packed as a whole, or by a scan for signatures, and unpacks its first bytes to be sure that a
/// kernel is in there. Writes nothing. Only a regular file is opened.
FindResult findPayload(std::string const& image);

/// The outcome of `unpackKernel`.
struct UnpackResult {
    bool ok = false;
    std::optional<KernelKind> kind;         ///< as that of `FindResult`, whatever came behind
    std::optional<Compression> compression; ///< set as soon as a payload was found
    std::uint64_t size = 0;                 ///< bytes handed on
    std::string message;                    ///< why it failed, in one sentence
};

/// The most that a kernel or a module may have when unpacked, in bytes, unless told otherwise.
constexpr std::uint64_t c_maxKernel = std::uint64_t{1} << 30;

/// Unpacks the kernel in `image` to `target`, whose directory must exist. The data goes to a hidden
/// file beside `target`, which takes the target's name only when it is whole: a failure leaves an
/// older `target` as it was and nothing new. A `target` that exists and is not a regular file, as a
/// symbolic link or a pipe is not, or that is `image` itself, is refused. So is a payload that is
/// damaged, cut short or of more than `maxSize` bytes unpacked.
UnpackResult unpackKernel(std::string const& image, std::string const& target,
                          std::uint64_t maxSize = c_maxKernel);

/// The same into an open file, from where it stands; stays the caller's. After a failure it holds
/// the `size` bytes that came before.
UnpackResult unpackKernel(std::string const& image, int descriptor,
                          std::uint64_t maxSize = c_maxKernel);

} // namespace lokata::unpack
