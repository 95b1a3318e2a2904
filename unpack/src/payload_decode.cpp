#include "payload_decode.h"

#include <algorithm>
#include <archive.h>
#include <cerrno>
#include <lzma.h>
#include <memory>
#include <new>
#include <vector>
#include <zlib.h>

namespace lokata::kernel {

namespace {

constexpr std::size_t c_buffer = 0x40000;

// Twice the largest dictionary that kernel builds ask of xz (128 MiB).
constexpr std::uint64_t c_lzmaMemory = 256u << 20;

std::string describe(Payload const& payload) {
    return std::string("the ") + compressionName(payload.compression) + " stream at offset " +
           std::to_string(payload.offset);
}

[[noreturn]] void failDamaged(Payload const& payload) {
    throw Failure(describe(payload) + " is damaged");
}

[[noreturn]] void failTruncated(Payload const& payload) {
    throw Failure(describe(payload) + " is cut short");
}

// The loop for z_stream and lzma_stream, which name their fields alike. `step` runs the decoder
// once and returns true at the end of the stream.
template <typename Stream, typename Step>
void pump(ImageFile const& image, Payload const& payload, Sink const& sink, Stream& stream,
          Step const& step) {
    RangeReader reader(image, payload.offset, payload.end);
    std::vector<unsigned char> input(c_buffer);
    std::vector<unsigned char> output(c_buffer);
    for (;;) {
        if (stream.avail_in == 0) {
            stream.next_in = input.data();
            stream.avail_in =
                static_cast<decltype(stream.avail_in)>(reader.read(input.data(), input.size()));
        }
        bool const isInputGone = stream.avail_in == 0;
        stream.next_out = output.data();
        stream.avail_out = c_buffer;
        bool const isEnd = step();
        std::size_t const produced = c_buffer - stream.avail_out;
        if (!sink(reinterpret_cast<char const*>(output.data()), produced) || isEnd)
            return;
        if (isInputGone && produced == 0)
            failTruncated(payload);
    }
}

// zlib itself and not libarchive, which does not test the checksum of a gzip stream.
void decodeGzip(ImageFile const& image, Payload const& payload, Sink const& sink) {
    z_stream stream{};
    constexpr int c_gzipOnly = 15 + 16;
    if (inflateInit2(&stream, c_gzipOnly) != Z_OK)
        throw std::bad_alloc();
    std::unique_ptr<z_stream, int (*)(z_stream*)> const guard(&stream, inflateEnd);
    pump(image, payload, sink, stream, [&] {
        int const result = inflate(&stream, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)
            failDamaged(payload);
        return result == Z_STREAM_END;
    });
}

// liblzma itself and not libarchive, which takes what follows an xz stream in a kernel image for
// a damaged second stream.
void decodeLzma(ImageFile const& image, Payload const& payload, Sink const& sink) {
    lzma_stream stream = LZMA_STREAM_INIT;
    lzma_ret const ready = payload.compression == Compression::xz
                               ? lzma_stream_decoder(&stream, c_lzmaMemory, 0)
                               : lzma_alone_decoder(&stream, c_lzmaMemory);
    if (ready != LZMA_OK)
        throw std::bad_alloc();
    std::unique_ptr<lzma_stream, void (*)(lzma_stream*)> const guard(&stream, lzma_end);
    pump(image, payload, sink, stream, [&] {
        lzma_ret const result = lzma_code(&stream, LZMA_RUN);
        if (result == LZMA_MEMLIMIT_ERROR)
            throw Failure(describe(payload) + " needs more memory than allowed to be unpacked");
        if (result != LZMA_OK && result != LZMA_STREAM_END && result != LZMA_BUF_ERROR)
            failDamaged(payload);
        return result == LZMA_STREAM_END;
    });
}

struct ArchiveInput {
    RangeReader reader;
    std::vector<char> buffer;
    std::string failure;
};

la_ssize_t readForArchive(archive* pArchive, void* pData, void const** ppBuffer) {
    auto& input = *static_cast<ArchiveInput*>(pData);
    *ppBuffer = input.buffer.data();
    try {
        return static_cast<la_ssize_t>(input.reader.read(input.buffer.data(), c_buffer));
    } catch (Failure const& failure) {
        input.failure = failure.what();
        archive_set_error(pArchive, EIO, "%s", failure.what());
        return -1;
    }
}

int addFilter(archive* pArchive, Compression compression) {
    switch (compression) {
    case Compression::bzip2:
        return archive_read_support_filter_bzip2(pArchive);
    case Compression::zstd:
        return archive_read_support_filter_zstd(pArchive);
    default:
        return archive_read_support_filter_lz4(pArchive);
    }
}

// `payload.end` must be the exact end of a zstd or lz4 stream. False if the sink ended it early.
bool decodeWithArchive(ImageFile const& image, Payload const& payload, Sink const& sink) {
    std::unique_ptr<archive, int (*)(archive*)> const reader(archive_read_new(), archive_read_free);
    if (!reader)
        throw std::bad_alloc();
    ArchiveInput input{{image, payload.offset, payload.end}, std::vector<char>(c_buffer), {}};
    if (addFilter(reader.get(), payload.compression) != ARCHIVE_OK) {
        throw Failure(std::string("the installed libarchive cannot unpack ") +
                      compressionName(payload.compression));
    }
    auto const failed = [&] {
        if (!input.failure.empty())
            throw Failure(input.failure);
        throw Failure(describe(payload) + " is damaged or cut short");
    };
    archive_entry* pEntry = nullptr;
    archive_read_support_format_raw(reader.get());
    // libarchive hands on as it is what its filter does not take.
    if (archive_read_open(reader.get(), &input, nullptr, readForArchive, nullptr) != ARCHIVE_OK ||
        archive_read_next_header(reader.get(), &pEntry) != ARCHIVE_OK ||
        archive_filter_code(reader.get(), 0) == ARCHIVE_FILTER_NONE)
        failed();
    std::vector<char> output(c_buffer);
    for (;;) {
        la_ssize_t const got = archive_read_data(reader.get(), output.data(), output.size());
        if (got < 0)
            failed();
        if (got == 0)
            return true;
        if (!sink(output.data(), static_cast<std::size_t>(got)))
            return false;
    }
}

std::uint64_t numberAt(ImageFile const& image, Payload const& payload, std::uint64_t offset,
                       std::size_t count) {
    unsigned char raw[8] = {};
    if (RangeReader(image, offset, std::max(offset, payload.end)).read(raw, count) != count)
        failTruncated(payload);
    return littleEndian(raw, count);
}

// The end of the first frame. The frame does not tell its length, but its blocks do. Source:
// RFC 8878, 3.1.1.
std::uint64_t zstdFrameEnd(ImageFile const& image, Payload const& payload) {
    constexpr std::uint64_t c_reserved = 3;
    constexpr std::uint64_t c_runLength = 1;
    constexpr std::uint64_t c_dictionaryIdSizes[] = {0, 1, 2, 4};
    constexpr std::uint64_t c_contentSizeSizes[] = {0, 2, 4, 8};

    std::uint64_t position = payload.offset + 4;
    std::uint64_t const descriptor = numberAt(image, payload, position++, 1);
    bool const isSingleSegment = (descriptor >> 5 & 1) != 0;
    std::uint64_t const contentSize = c_contentSizeSizes[descriptor >> 6];
    position += c_dictionaryIdSizes[descriptor & 3];
    position += isSingleSegment ? std::max<std::uint64_t>(contentSize, 1) : contentSize + 1;
    for (bool isLast = false; !isLast;) {
        std::uint64_t const block = numberAt(image, payload, position, 3);
        std::uint64_t const type = block >> 1 & 3;
        if (type == c_reserved)
            failDamaged(payload);
        isLast = (block & 1) != 0;
        position += 3 + (type == c_runLength ? 1 : block >> 3);
    }
    position += (descriptor >> 2 & 1) * 4;
    if (position > payload.end)
        failTruncated(payload);
    return position;
}

// A legacy frame ends without a mark where no further block can stand. Source:
// doc/lz4_Frame_format.md of LZ4, and lib/decompress_unlz4.c of Linux for the block size.
std::uint64_t lz4FrameEnd(ImageFile const& image, Payload const& payload) {
    constexpr std::uint64_t c_block = 8u << 20;
    constexpr std::uint64_t c_largestPackedBlock = c_block + c_block / 255 + 16;

    std::uint64_t position = payload.offset + 4;
    while (position + 4 <= payload.end) {
        std::uint64_t const packed = numberAt(image, payload, position, 4);
        if (packed == 0 || packed > std::min(c_largestPackedBlock, payload.end - position - 4))
            break;
        position += 4 + packed;
    }
    return position;
}

// A legacy frame has no checksum and no end mark, so a cut at the border of a block shows only in
// the unpacked size, which kernel builds append to every stream but gzip.
void decodeLz4(ImageFile const& image, Payload const& payload, Sink const& sink) {
    std::uint64_t const end = lz4FrameEnd(image, payload);
    std::uint64_t produced = 0;
    bool const isWhole = decodeWithArchive(image, {payload.compression, payload.offset, end},
                                           [&](char const* pBytes, std::size_t count) {
                                               produced += count;
                                               return sink(pBytes, count);
                                           });
    unsigned char recorded[4];
    std::size_t const got = image.readAt(end, recorded, sizeof recorded);
    if (isWhole && got != 0 &&
        (got != sizeof recorded || littleEndian(recorded, 4) != (produced & 0xffffffff)))
        failTruncated(payload);
}

} // namespace

void decodePayload(ImageFile const& image, Payload const& payload, Sink const& sink) {
    switch (payload.compression) {
    case Compression::gzip:
        return decodeGzip(image, payload, sink);
    case Compression::xz:
    case Compression::lzma:
        return decodeLzma(image, payload, sink);
    case Compression::bzip2:
        decodeWithArchive(image, payload, sink);
        return;
    case Compression::zstd:
        decodeWithArchive(
            image, {payload.compression, payload.offset, zstdFrameEnd(image, payload)}, sink);
        return;
    case Compression::lz4:
        return decodeLz4(image, payload, sink);
    case Compression::lzo:
        break;
    }
    throw Failure(describe(payload) + " cannot be unpacked: lzo is not supported");
}

} // namespace lokata::kernel
