#include "stream_decoder.h"

#include <algorithm>
#include <new>
#include <vector>

#include <lzma.h>
#define ZLIB_CONST
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

namespace lokata::unpack {

namespace {

/// Twice the largest dictionary that kernel builds ask of xz, and the largest window that zstd uses
/// without being asked (128 MiB each).
constexpr std::uint64_t c_lzmaMemory = 256U << 20;
constexpr int c_zstdWindowLog = 27;

/// For z_stream and lzma_stream, which name their fields alike.
template <typename Stream, typename Code>
auto run(Stream& stream, std::string_view& input, Room& room, Code const& code) {
    stream.next_in = reinterpret_cast<unsigned char const*>(input.data());
    stream.avail_in = static_cast<decltype(stream.avail_in)>(input.size());
    stream.next_out = reinterpret_cast<unsigned char*>(room.data);
    stream.avail_out = static_cast<decltype(stream.avail_out)>(room.size);
    auto const result = code();
    input.remove_prefix(input.size() - stream.avail_in);
    room = {reinterpret_cast<char*>(stream.next_out), stream.avail_out};
    return result;
}

class GzipDecoder : public StreamDecoder {
public:
    GzipDecoder() {
        constexpr int c_gzipOnly = MAX_WBITS + 16;
        if (inflateInit2(&m_stream, c_gzipOnly) != Z_OK)
            throw std::bad_alloc();
    }
    ~GzipDecoder() override { inflateEnd(&m_stream); }
    GzipDecoder(GzipDecoder const&) = delete;
    GzipDecoder& operator=(GzipDecoder const&) = delete;

    Step step(std::string_view& input, bool, Room& room) override {
        int const result =
            run(m_stream, input, room, [this] { return inflate(&m_stream, Z_NO_FLUSH); });
        if (result == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (result == Z_STREAM_END)
            return Step::end;
        return result == Z_OK || result == Z_BUF_ERROR ? Step::more : Step::damaged;
    }

    void restart() override { inflateReset(&m_stream); }

protected:
    char const* detail() const override { return m_stream.msg; }

private:
    z_stream m_stream{};
};

/// xz itself goes from stream to stream where all are wanted, since it knows the padding that may
/// stand between them.
class LzmaDecoder : public StreamDecoder {
public:
    LzmaDecoder(Compression compression, Extent extent) {
        std::uint32_t const flags = extent == Extent::all ? LZMA_CONCATENATED : 0;
        lzma_ret const ready = compression == Compression::xz
                                   ? lzma_stream_decoder(&m_stream, c_lzmaMemory, flags)
                                   : lzma_alone_decoder(&m_stream, c_lzmaMemory);
        if (ready != LZMA_OK)
            throw std::bad_alloc();
    }
    ~LzmaDecoder() override { lzma_end(&m_stream); }
    LzmaDecoder(LzmaDecoder const&) = delete;
    LzmaDecoder& operator=(LzmaDecoder const&) = delete;

    Step step(std::string_view& input, bool isLast, Room& room) override {
        lzma_ret const result = run(m_stream, input, room, [&] {
            return lzma_code(&m_stream, isLast ? LZMA_FINISH : LZMA_RUN);
        });
        switch (result) {
        case LZMA_OK:
        case LZMA_BUF_ERROR:
            return Step::more;
        case LZMA_STREAM_END:
            return Step::end;
        case LZMA_MEMLIMIT_ERROR:
            return Step::needs_memory;
        case LZMA_MEM_ERROR:
            throw std::bad_alloc();
        default:
            return Step::damaged;
        }
    }

private:
    lzma_stream m_stream = LZMA_STREAM_INIT;
};

class ZstdDecoder : public StreamDecoder {
public:
    ZstdDecoder() : m_stream(ZSTD_createDStream(), ZSTD_freeDStream) {
        if (!m_stream)
            throw std::bad_alloc();
        m_start = m_wanted = ZSTD_initDStream(m_stream.get());
        ZSTD_DCtx_setParameter(m_stream.get(), ZSTD_d_windowLogMax, c_zstdWindowLog);
    }

    /// Gives the library no more than it asks for, which is a block: it keeps back all of a call
    /// that meets damage. Behind the end of a frame it begins with the next by itself.
    Step step(std::string_view& input, bool, Room& room) override {
        ZSTD_inBuffer in{input.data(), std::min(input.size(), m_wanted), 0};
        ZSTD_outBuffer out{room.data, room.size, 0};
        std::size_t const result = ZSTD_decompressStream(m_stream.get(), &out, &in);
        input.remove_prefix(in.pos);
        room = {room.data + out.pos, room.size - out.pos};
        if (ZSTD_isError(result) == 0) {
            m_wanted = result == 0 ? m_start : result;
            return result == 0 ? Step::end : Step::more;
        }
        switch (ZSTD_getErrorCode(result)) {
        case ZSTD_error_memory_allocation:
            throw std::bad_alloc();
        case ZSTD_error_frameParameter_windowTooLarge:
            return Step::needs_memory;
        default:
            m_detail = ZSTD_getErrorName(result);
            return Step::damaged;
        }
    }

protected:
    char const* detail() const override { return m_detail; }

private:
    std::unique_ptr<ZSTD_DStream, std::size_t (*)(ZSTD_DStream*)> m_stream;
    std::size_t m_start = 0;  ///< Bytes to begin a frame with.
    std::size_t m_wanted = 0; ///< Bytes to go on with.
    char const* m_detail = nullptr;
};

} // namespace

std::string StreamDecoder::fault(Step step) const {
    if (step == Step::needs_memory)
        return "needs more memory than allowed to be unpacked";
    return detail() == nullptr ? "is damaged" : std::string("is damaged (") + detail() + ")";
}

std::unique_ptr<StreamDecoder> makeStreamDecoder(Compression compression, Extent extent) {
    switch (compression) {
    case Compression::gzip:
        return std::make_unique<GzipDecoder>();
    case Compression::xz:
    case Compression::lzma:
        return std::make_unique<LzmaDecoder>(compression, extent);
    case Compression::zstd:
        return std::make_unique<ZstdDecoder>();
    default:
        return nullptr;
    }
}

std::uint64_t decodeStreams(StreamDecoder& decoder, ByteReader& reader, Extent extent,
                            Sink const& sink) {
    std::vector<char> block(ByteReader::c_piece);
    std::string_view input;
    std::uint64_t given = 0;
    bool isLast = false;
    bool isBetween = false;
    for (;;) {
        if (input.empty() && !isLast) {
            input = reader.next();
            given += input.size();
            isLast = input.empty();
        }
        if (isBetween) {
            if (isLast)
                return given;
            decoder.restart();
        }
        Room room{block.data(), block.size()};
        auto const step = decoder.step(input, isLast, room);
        std::size_t const made = block.size() - room.size;
        std::uint64_t const used = given - input.size();
        if (made > 0 && !sink({block.data(), made}))
            return used;
        isBetween = step == StreamDecoder::Step::end;
        if (isBetween && extent == Extent::first_stream)
            return used;
        if (!isBetween && step != StreamDecoder::Step::more)
            throw StreamFault(decoder.fault(step), used);
        if (!isBetween && isLast && made == 0)
            throw StreamFault("is cut short", given);
    }
}

} // namespace lokata::unpack
