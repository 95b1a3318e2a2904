#include "payload_decode.h"

#include "signature.h"

#include <algorithm>
#include <archive.h>
#include <cerrno>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

namespace lokata::unpack {

namespace {

std::string describe(Payload const& payload) {
    return std::string("the ") + compressionName(payload.compression) + " stream at offset " +
           std::to_string(payload.offset);
}

[[noreturn]] void fail(Payload const& payload, std::string const& what) {
    throw Failure(describe(payload) + " " + what);
}

void decodeStream(ImageFile const& image, Payload const& payload, Sink const& sink) {
    Extent const extent = payload.is_whole_file ? Extent::all : Extent::first_stream;
    RangeReader reader(image, payload.offset, payload.end);
    try {
        decodeStreams(*makeStreamDecoder(payload.compression, extent), reader, extent, sink);
    } catch (StreamFault const& fault) {
        fail(payload, fault.what());
    }
}

struct ArchiveInput {
    RangeReader reader;
    std::string failure;
};

la_ssize_t readForArchive(archive* pArchive, void* pData, void const** ppBuffer) {
    auto& input = *static_cast<ArchiveInput*>(pData);
    try {
        std::string_view const piece = input.reader.next();
        *ppBuffer = piece.data();
        return static_cast<la_ssize_t>(piece.size());
    } catch (Failure const& failure) {
        input.failure = failure.what();
        archive_set_error(pArchive, EIO, "%s", failure.what());
        return -1;
    }
}

/// For bzip2, and for lz4 with `payload.end` at the exact end of the frame. False if the sink ended
/// it early.
bool decodeWithArchive(ImageFile const& image, Payload const& payload, Sink const& sink) {
    std::unique_ptr<archive, int (*)(archive*)> const reader(archive_read_new(), archive_read_free);
    if (!reader)
        throw std::bad_alloc();
    ArchiveInput input{{image, payload.offset, payload.end}, {}};
    auto const addFilter = payload.compression == Compression::bzip2
                               ? archive_read_support_filter_bzip2
                               : archive_read_support_filter_lz4;
    if (addFilter(reader.get()) != ARCHIVE_OK)
        throw Failure(std::string("the installed libarchive cannot unpack ") +
                      compressionName(payload.compression));
    auto const failed = [&] {
        if (!input.failure.empty())
            throw Failure(input.failure);
        fail(payload, "is damaged or cut short");
    };
    archive_entry* pEntry = nullptr;
    archive_read_support_format_raw(reader.get());
    // libarchive hands on as it is what its filter does not take.
    if (archive_read_open(reader.get(), &input, nullptr, readForArchive, nullptr) != ARCHIVE_OK ||
        archive_read_next_header(reader.get(), &pEntry) != ARCHIVE_OK ||
        archive_filter_code(reader.get(), 0) == ARCHIVE_FILTER_NONE)
        failed();
    std::vector<char> output(ByteReader::c_piece);
    for (;;) {
        la_ssize_t const got = archive_read_data(reader.get(), output.data(), output.size());
        if (got < 0)
            failed();
        if (got == 0)
            return true;
        if (!sink({output.data(), static_cast<std::size_t>(got)}))
            return false;
    }
}

/// A legacy frame ends without a mark where no further block can stand. Source:
/// doc/lz4_Frame_format.md of LZ4, and lib/decompress_unlz4.c of Linux for the block size.
std::uint64_t lz4FrameEnd(ImageFile const& image, Payload const& payload) {
    constexpr std::uint64_t c_block = 8u << 20;
    constexpr std::uint64_t c_largestPackedBlock = c_block + c_block / 255 + 16;

    std::uint64_t position = payload.offset + 4;
    while (position + 4 <= payload.end) {
        char number[4];
        if (image.readAt(position, number, sizeof number) != sizeof number)
            break;
        std::uint64_t const packed = littleEndianAt({number, sizeof number}, 0, sizeof number);
        if (packed == 0 || packed > std::min(c_largestPackedBlock, payload.end - position - 4))
            break;
        position += 4 + packed;
    }
    return position;
}

/// A legacy frame has no checksum and no end mark, so a cut at the border of a block shows only in
/// the unpacked size that kernel builds append to it (size_append in scripts/Makefile.lib of
/// Linux). There is none in a file that lz4 itself packed, which begins and ends with its frame.
void decodeLz4(ImageFile const& image, Payload const& payload, Sink const& sink) {
    std::uint64_t const end = lz4FrameEnd(image, payload);
    std::uint64_t produced = 0;
    bool const isWhole = decodeWithArchive(image, {payload.compression, payload.offset, end, false},
                                           [&](std::string_view bytes) {
                                               produced += bytes.size();
                                               return sink(bytes);
                                           });
    char recorded[4];
    std::size_t const got = image.readAt(end, recorded, sizeof recorded);
    bool const isPackedByLz4Itself = payload.offset == 0 && got == 0;
    if (isWhole && !isPackedByLz4Itself &&
        (got != sizeof recorded ||
         littleEndianAt({recorded, got}, 0, sizeof recorded) != (produced & 0xffffffff)))
        fail(payload, "is cut short");
}

} // namespace

void decodePayload(ImageFile const& image, Payload const& payload, Sink const& sink) {
    switch (payload.compression) {
    case Compression::bzip2:
        decodeWithArchive(image, payload, sink);
        return;
    case Compression::lz4:
        return decodeLz4(image, payload, sink);
    case Compression::lzo:
        fail(payload, "cannot be unpacked: lzo is not supported");
    default:
        return decodeStream(image, payload, sink);
    }
}

} // namespace lokata::unpack
