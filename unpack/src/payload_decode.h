#pragma once

#include "image_file.h"
#include <unpack/kernel_payload.h>

#include <cstddef>
#include <functional>

namespace lokata::kernel {

/// Takes the next unpacked bytes; false ends the unpacking early, without an error.
using Sink = std::function<bool(char const* pBytes, std::size_t count)>;

/// Unpacks `payload` into `sink`, up to the end of its compressed stream; bytes behind that are
/// ignored. Throws `Failure` if the stream is damaged or cut short, or its form is not supported.
/// Failures that `sink` throws pass through.
void decodePayload(ImageFile const& image, Payload const& payload, Sink const& sink);

} // namespace lokata::kernel
