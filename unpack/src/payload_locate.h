#pragma once

#include "image_file.h"

#include <unpack/compression.h>

#include <cstdint>
#include <functional>
#include <optional>

namespace lokata::unpack {

/// The compressed kernel inside an image.
struct Payload {
    Compression compression;
    std::uint64_t offset; ///< First byte in the image file.
    std::uint64_t end;    ///< Behind the last byte that may belong to it.
    /// True for a file that was packed as a whole: its streams make up all of the file. Otherwise
    /// the kernel is one stream, and something else may follow.
    bool is_whole_file;
};

/// The payload that the image's own header points to, or unset if the image has no such header.
/// Throws `Failure` if the header points outside of the file or to data of an unknown form.
std::optional<Payload> payloadByHeader(ImageFile const& image);

/// All of a file that is packed as a whole, by the mark that it begins with; unset for others.
std::optional<Payload> packedFile(ImageFile const& image);

/// Calls `visit` for each place that looks like the start of a compressed stream, front to back,
/// until it returns true. Many such places are false: the code that unpacks the kernel holds the
/// signatures too.
void scanForPayloads(ImageFile const& image, std::function<bool(Payload const&)> const& visit);

} // namespace lokata::unpack
