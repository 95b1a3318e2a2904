#pragma once

#include <unpack/compression.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace lokata::unpack {

/// One way of packing.
struct Form {
    Compression compression;
    char const* name;
    std::string_view mark;   ///< What a stream begins with.
    std::string_view ending; ///< Of the names of files that are packed as a whole, if any are.
};

/// All of them. Sources of the marks: RFC 1952, doc/xz-file-format.txt of XZ Utils, RFC 8878,
/// doc/lz4_Frame_format.md of LZ4 (legacy frame), and the headers that bzip2 and lzop write; lzma
/// has no mark, see doc/lzma-file-format.txt of XZ Utils.
constexpr Form c_forms[]{
    {Compression::gzip, "gzip", {"\x1f\x8b", 2}, ".gz"},
    {Compression::xz, "xz", {"\xfd\x37zXZ\0", 6}, ".xz"},
    {Compression::zstd, "zstd", {"\x28\xb5\x2f\xfd", 4}, ".zst"},
    {Compression::lz4, "lz4", {"\x02\x21\x4c\x18", 4}, {}},
    {Compression::bzip2, "bzip2", {"BZh", 3}, {}},
    {Compression::lzo, "lzo", {"\x89LZO\0\r\n\x1a\n", 9}, {}},
    {Compression::lzma, "lzma", {"\x5d\0\0", 3}, {}},
};

/// The most bytes that `compressionOf` looks at.
constexpr std::size_t c_longestSignature = 13;

/// The little-endian number of `count` bytes (at most 8) at `offset`, which `bytes` must hold.
std::uint64_t littleEndianAt(std::string_view bytes, std::size_t offset, std::size_t count);

/// The form of the compressed stream that begins with `bytes`; strict enough to search for streams
/// in the middle of other data.
std::optional<Compression> compressionOf(std::string_view bytes);

/// The first place at or behind `from` where a signature may begin, by its first byte alone; the
/// end if there is none. Makes the scan of a large file quick.
std::size_t findSignatureByte(std::string_view bytes, std::size_t from);

/// True for the frame of bytes to pass over with which some packers begin a zstd file.
bool isSkippableFrame(std::string_view bytes);

} // namespace lokata::unpack
