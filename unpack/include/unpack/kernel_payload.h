#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lokata::kernel {

/// How the kernel inside an image is compressed. `lzo` is recognised but never unpacked.
enum class Compression { gzip, xz, zstd, lz4, bzip2, lzma, lzo };

/// The usual lower case name, such as "xz".
char const* compressionName(Compression compression);

/// What an unpacked payload is: an ELF file (a vmlinux), or the flat boot image that arm64, riscv
/// and loongarch kernels are packed from. A flat image carries no build-id note.
enum class KernelKind { elf, boot_image };

/// "ELF file" or "kernel image".
char const* kernelKindName(KernelKind kind);

/// The compressed kernel inside an image.
struct Payload {
    Compression compression;
    std::uint64_t offset; ///< first byte in the image file
    std::uint64_t end; ///< behind the last byte that may belong to it; trailing bytes are allowed
};

/// The outcome of a look at an image. `payload` is unset exactly when nothing can be unpacked; then
/// `message` says why in one sentence.
struct FindResult {
    std::optional<Payload> payload;
    KernelKind kind = KernelKind::elf;
    std::string message;
};

/// Finds the payload of `image` by the x86 boot protocol's or the EFI zboot header, or by a scan
/// for signatures if the file has neither, and unpacks its first bytes to be sure that a kernel
/// is in there. Writes nothing and does not throw, but for `std::bad_alloc`. May be called on any
/// thread.
FindResult findPayload(std::string const& image);

/// The outcome of `unpackKernel`. `compression` is set as soon as a payload was found, with or
/// without success; `message` is one sentence in either case.
struct UnpackResult {
    bool ok = false;
    std::optional<Compression> compression;
    KernelKind kind = KernelKind::elf;
    std::uint64_t size = 0; ///< of the unpacked file, in bytes
    std::string message;
};

/// Unpacks the kernel in `image` to `target`, whose directory must exist. The data goes to a
/// temporary file beside `target`, which takes the target's name only when it is whole: a failure
/// leaves an older `target` as it was and nothing new. A `target` that exists and is not a regular
/// file, as a symbolic link is not, or that is `image` itself, is refused. Memory use does not grow
/// with the image; a payload of more than 1 GiB unpacked is refused. Does not throw, but for
/// `std::bad_alloc`. May be called on any thread.
UnpackResult unpackKernel(std::string const& image, std::string const& target,
                          std::uint64_t maxSize = std::uint64_t{1} << 30);

} // namespace lokata::kernel
