#include "read/zstd_stream.h"

#include <algorithm>

namespace lokata::profile {

namespace {

constexpr int c_maxWindowLog = 27;
constexpr std::size_t c_block = 128UL * 1024;

} // namespace

ZstdStream::ZstdStream(std::uint64_t limit)
    : m_stream(ZSTD_createDStream(), ZSTD_freeDStream), m_left(limit) {
    if (!m_stream) {
        m_error = "the zstd decoder cannot be set up";
        return;
    }
    ZSTD_DCtx_setParameter(m_stream.get(), ZSTD_d_windowLogMax, c_maxWindowLog);
}

bool ZstdStream::next(std::string_view& piece, std::string& out) {
    if (!m_error.empty())
        return false;
    auto const before = out.size();
    out.resize(before + c_block);
    ZSTD_inBuffer input{piece.data(), piece.size(), 0};
    ZSTD_outBuffer output{out.data() + before, c_block, 0};
    auto const status = ZSTD_decompressStream(m_stream.get(), &output, &input);
    out.resize(before + output.pos);
    piece.remove_prefix(input.pos);
    if (ZSTD_isError(status) != 0)
        m_error = std::string("compressed records are damaged: ") + ZSTD_getErrorName(status);
    else if (output.pos > m_left)
        m_error = "the compressed records hold more than the limit";
    else if (input.pos == 0 && output.pos == 0 && !piece.empty())
        m_error = "compressed records are damaged: no progress";
    m_left -= std::min<std::uint64_t>(m_left, output.pos);
    return m_error.empty();
}

} // namespace lokata::profile
