#include "read/gunzip.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

#define ZLIB_CONST
#include <zlib.h>

namespace lokata::profile {

Unpacked gunzip(std::string_view packed, std::uint64_t limit) {
    constexpr int c_gzipOnly = MAX_WBITS + 16;
    Unpacked result;
    z_stream stream{};
    if (inflateInit2(&stream, c_gzipOnly) != Z_OK) {
        result.error = "the gzip decoder cannot be set up";
        return result;
    }
    std::unique_ptr<z_stream, int (*)(z_stream*)> const guard(&stream, inflateEnd);
    std::vector<char> block(256UL * 1024);
    std::size_t position = 0;
    while (position < packed.size()) {
        auto const given =
            std::min<std::size_t>(packed.size() - position, std::numeric_limits<uInt>::max());
        stream.next_in = reinterpret_cast<Bytef const*>(packed.data() + position);
        stream.avail_in = static_cast<uInt>(given);
        stream.next_out = reinterpret_cast<Bytef*>(block.data());
        stream.avail_out = static_cast<uInt>(block.size());
        int const status = inflate(&stream, Z_NO_FLUSH);
        position += given - stream.avail_in;
        result.offset = position;
        auto const made = block.size() - stream.avail_out;
        auto const kept = std::min<std::uint64_t>(made, limit - result.content.size());
        result.content.append(block.data(), static_cast<std::size_t>(kept));
        if (kept < made) {
            result.error = "the unpacked content is larger than the limit of " +
                           std::to_string(limit) + " bytes";
            return result;
        }
        if (status == Z_STREAM_END) {
            if (position == packed.size())
                return result;
            inflateReset(&stream);
        } else if (status != Z_OK) {
            result.error = std::string("the gzip stream is damaged: ") +
                           (stream.msg != nullptr ? stream.msg : "no progress");
            return result;
        }
    }
    result.error = "the gzip stream ends early";
    return result;
}

} // namespace lokata::profile
