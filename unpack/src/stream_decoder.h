#pragma once

#include "byte_reader.h"
#include "failure.h"

#include <unpack/compression.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace lokata::unpack {

/// Takes the next unpacked bytes; false ends the unpacking early, without an error.
using Sink = std::function<bool(std::string_view bytes)>;

/// How many of the packed bytes belong to what is unpacked.
enum class Extent {
    first_stream, ///< What follows the first stream is left alone.
    all           ///< Streams follow each other up to the end, and nothing else does.
};

/// What is wrong with packed bytes, to stand behind a name of them: "is cut short".
struct StreamFault : Failure {
    StreamFault(std::string const& what, std::uint64_t at) : Failure(what), offset(at) {}

    std::uint64_t offset; ///< From the first byte that the reader gave.
};

/// Where a decoder may write; shrinks from the front.
struct Room {
    char* data;
    std::size_t size;
};

/// Unpacks one stream that arrives in pieces.
class StreamDecoder {
public:
    enum class Step { more, end, damaged, needs_memory };

    virtual ~StreamDecoder() = default;

    /// Unpacks from the front of `input` into `room`, and shortens both. `isLast` says that nothing
    /// will follow `input`. Gives `end` behind the last byte of the stream.
    virtual Step step(std::string_view& input, bool isLast, Room& room) = 0;

    /// Gets ready for another stream, behind one that ended.
    virtual void restart() {}

    /// What a step found to be wrong, as a sentence about the stream without its subject.
    std::string fault(Step step) const;

protected:
    /// The library's own words for damage, null if it has none.
    virtual char const* detail() const { return nullptr; }
};

/// A decoder for gzip, xz, zstd or lzma; null for others. `extent` is that of the whole unpacking.
std::unique_ptr<StreamDecoder> makeStreamDecoder(Compression compression, Extent extent);

/// Unpacks what `reader` gives into `sink`, and gives the number of packed bytes that were used up.
/// Throws `StreamFault` if they are damaged or cut short or need too much memory. Failures of
/// `reader` and `sink` pass through.
std::uint64_t decodeStreams(StreamDecoder& decoder, ByteReader& reader, Extent extent,
                            Sink const& sink);

} // namespace lokata::unpack
