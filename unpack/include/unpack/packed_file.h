#pragma once

/// Files that are packed as a whole, in one of the ways that have an ending in `c_forms` of
/// src/signature.h. Nothing here throws, but for `std::bad_alloc`; every function may be called on
/// any thread.

#include <unpack/compression.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lokata::unpack {

/// How a file is packed, by the mark that its content begins with; unset for one that is not. Only
/// the mark is looked at.
std::optional<Compression> packingOf(std::string_view content);

/// The name that a file has when it is not packed: "a.ko" of "a.ko.xz". Others stay as they are.
std::string_view withoutPackedEnding(std::string_view fileName);

/// What came out of a packed file, whole or up to what is wrong with it.
struct Unpacked {
    std::string content;
    std::string error;        ///< One sentence, empty when all was unpacked.
    std::uint64_t offset = 0; ///< Of the error, or of the end, in the packed bytes.
};

/// Unpacks a file that lies in memory and that `packingOf` knows. All members, streams or frames
/// are unpacked, one behind the other. A file that is cut short, that fails one of its own
/// checksums, that goes on with anything else behind them (padding too, which only xz knows), that
/// takes more than 256 MiB to unpack, or that holds more than `limit` bytes, gives an error and
/// what was unpacked before.
Unpacked unpackMemory(std::string_view packed, std::uint64_t limit);

} // namespace lokata::unpack
