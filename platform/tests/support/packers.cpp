#include "packers.h"

#include <archive.h>
#include <archive_entry.h>
#include <zlib.h>
#include <zstd.h>

namespace {

/// Larger than what the content takes in any format.
std::string roomFor(std::string_view content) {
    return std::string(content.size() + content.size() / 100 + 4096, '\0');
}

std::string packWithArchive(std::string_view content, int (*addFilter)(archive*)) {
    std::string packed = roomFor(content);
    std::size_t used = 0;
    archive* const writer = archive_write_new();
    addFilter(writer);
    archive_write_set_format_raw(writer);
    archive_write_set_bytes_in_last_block(writer, 1);
    archive_write_open_memory(writer, packed.data(), packed.size(), &used);
    archive_entry* const entry = archive_entry_new();
    archive_entry_set_filetype(entry, AE_IFREG);
    archive_write_header(writer, entry);
    archive_write_data(writer, content.data(), content.size());
    archive_entry_free(entry);
    archive_write_free(writer);
    return packed.substr(0, used);
}

std::string packGzip(std::string input, int flush) {
    std::string packed = roomFor(input);
    z_stream stream{};
    deflateInit2(&stream, 9, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, flush);
    deflateEnd(&stream);
    return packed.substr(0, stream.total_out);
}

std::string packZstd(std::string_view content, ZSTD_EndDirective end) {
    std::string packed = roomFor(content);
    ZSTD_CStream* const stream = ZSTD_createCStream();
    ZSTD_CCtx_setParameter(stream, ZSTD_c_checksumFlag, 1);
    ZSTD_inBuffer in{content.data(), content.size(), 0};
    ZSTD_outBuffer out{packed.data(), packed.size(), 0};
    ZSTD_compressStream2(stream, &out, &in, end);
    ZSTD_freeCStream(stream);
    return packed.substr(0, out.pos);
}

} // namespace

std::string gzip(std::string_view content) {
    return packGzip(std::string(content), Z_FINISH);
}

std::string xz(std::string_view content) {
    return packWithArchive(content, archive_write_add_filter_xz);
}

std::string zstd(std::string_view content) {
    return packZstd(content, ZSTD_e_end);
}

std::string bzip2(std::string_view content) {
    return packWithArchive(content, archive_write_add_filter_bzip2);
}

std::string lzma(std::string_view content) {
    return packWithArchive(content, archive_write_add_filter_lzma);
}

std::string gzipWithoutEnd(std::string_view content) {
    return packGzip(std::string(content), Z_SYNC_FLUSH);
}

std::string zstdWithoutEnd(std::string_view content) {
    return packZstd(content, ZSTD_e_flush);
}
