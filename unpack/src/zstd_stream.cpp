#include <unpack/zstd_stream.h>

#include "stream_decoder.h"

#include <algorithm>

namespace lokata::unpack {

ZstdStream::ZstdStream(std::uint64_t limit)
    : m_decoder(makeStreamDecoder(Compression::zstd, Extent::all)), m_left(limit) {}

ZstdStream::~ZstdStream() = default;

ZstdStream::Step ZstdStream::next(std::string_view& piece, std::string& out) {
    constexpr std::size_t c_block = 128UL * 1024;
    if (!m_error.empty())
        return Step::failed;
    auto const before = out.size();
    auto const given = piece.size();
    out.resize(before + c_block);
    Room room{out.data() + before, c_block};
    auto const step = m_decoder->step(piece, false, room);
    std::size_t const made = c_block - room.size;
    out.resize(before + made);
    if (step == StreamDecoder::Step::damaged || step == StreamDecoder::Step::needs_memory)
        m_error = m_decoder->fault(step);
    else if (made > m_left)
        m_error = "holds more than the limit";
    else if (piece.size() == given && made == 0 && given > 0)
        m_error = "is damaged (no progress)";
    m_left -= std::min<std::uint64_t>(m_left, made);
    if (!m_error.empty())
        return Step::failed;
    return piece.empty() && room.size > 0 ? Step::done : Step::more;
}

} // namespace lokata::unpack
