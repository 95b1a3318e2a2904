#pragma once

#include <unpack/compression.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace lokata::unpack {

// Sources: RFC 1952, doc/xz-file-format.txt of XZ Utils, RFC 8878.
constexpr std::string_view c_gzipMark{"\x1f\x8b", 2};
constexpr std::string_view c_xzMark{"\xfd"
                                    "7zXZ\0",
                                    6};
constexpr std::string_view c_zstdMark{"\x28\xb5\x2f\xfd", 4};

/// The most bytes that `compressionOf` looks at.
constexpr std::size_t c_longestSignature = 13;

bool startsWith(std::string_view bytes, std::string_view prefix);

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
