#pragma once

#include "image_file.h"
#include "payload_locate.h"
#include "stream_decoder.h"

namespace lokata::unpack {

/// Unpacks `payload` into `sink`. Throws `Failure` if the stream is damaged or cut short, or its
/// form is not supported. Failures that `sink` throws pass through.
void decodePayload(ImageFile const& image, Payload const& payload, Sink const& sink);

} // namespace lokata::unpack
