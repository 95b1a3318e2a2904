#include <lokata2/utils.h>

#include "lk_log.h"
#include "lk_text.h"

#include <array>
#include <ios>
#include <streambuf>
#include <vector>

#include <zlib.h>

namespace LK_2_13::utils {

namespace {

constexpr std::size_t c_bufferSize = 0x40000;

/// The head of a gzip member (RFC 1952): its magic, deflate, and no flags.
constexpr std::array<unsigned char, 4> c_signature = {0x1F, 0x8B, 0x08, 0x00};

/// The state of zlib for one gzip stream.
class GzipStream {
public:
    GzipStream() {
        constexpr int c_gzipOnly = 16;
        m_isReady = inflateInit2(&m_stream, MAX_WBITS + c_gzipOnly) == Z_OK;
    }
    ~GzipStream() {
        if (m_isReady)
            inflateEnd(&m_stream);
    }
    GzipStream(GzipStream const&) = delete;
    GzipStream& operator=(GzipStream const&) = delete;

    bool isReady() const { return m_isReady; }
    z_stream* operator->() { return &m_stream; }
    z_stream* get() { return &m_stream; }

private:
    z_stream m_stream{};
    bool m_isReady = false;
};

/// Takes bytes through the first signature; false at the end. The scan goes on behind the byte that
/// breaks a match, with no stepping back, so a signature that begins at that byte is not seen. That
/// is meant: what was unpacked is kept under the checksum of the image, so the same image must
/// always give the same. Bytes come from the buffer, as a stream's own `get` costs ten times as
/// much.
bool skipPastSignature(std::streambuf& in) {
    using traits_t = std::streambuf::traits_type;
    std::size_t matched = 0;
    while (matched < c_signature.size()) {
        traits_t::int_type const byte = in.sbumpc();
        if (traits_t::eq_int_type(byte, traits_t::eof()))
            return false;
        matched = byte == c_signature[matched] ? matched + 1 : 0;
    }
    return true;
}

/// Leaves the stream at the first signature. A read error, which a buffer tells by an exception,
/// ends the scan like the end of the file.
bool seekSignature(std::istream& in) try {
    return skipPastSignature(*in.rdbuf()) &&
           in.seekg(-static_cast<std::streamoff>(c_signature.size()), std::ios::cur).good();
} catch (std::ios_base::failure const&) {
    return false;
}

/// A target that cannot be closed without an error is not whole. Only one that was opened here
/// goes.
bool extractTo(std::ifstream& in, char const* target) {
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    bool const isOpened = out.is_open();
    bool const isInflated = uncompress(in, out);
    in.close();
    out.close();
    if (isInflated && out.good())
        return true;
    if (isOpened)
        removeFile(target);
    return false;
}

} // namespace

bool uncompress(std::basic_ifstream<char>& in, std::basic_ofstream<char>& out) {
    if (!in.good() || !out.good())
        return false;
    std::vector<char> input(c_bufferSize);
    std::vector<char> output(c_bufferSize);
    GzipStream stream;
    if (!stream.isReady())
        return false;

    int result = Z_OK;
    while (!in.eof() && result != Z_STREAM_END) {
        in.read(input.data(), static_cast<std::streamsize>(input.size()));
        if (in.bad())
            return false;
        if (in.gcount() == 0)
            break;
        stream->next_in = reinterpret_cast<Bytef*>(input.data());
        stream->avail_in = static_cast<uInt>(in.gcount());
        do {
            stream->next_out = reinterpret_cast<Bytef*>(output.data());
            stream->avail_out = static_cast<uInt>(output.size());
            result = inflate(stream.get(), Z_NO_FLUSH);
            // The output came out exactly full before, and only more input is needed.
            if (result == Z_BUF_ERROR)
                result = Z_OK;
            if (result != Z_OK && result != Z_STREAM_END)
                return false;
            out.write(output.data(),
                      static_cast<std::streamsize>(output.size() - stream->avail_out));
            if (out.bad())
                return false;
        } while (stream->avail_out == 0);
    }
    // The end of the file within the stream is no failure. That is meant: what came out is
    // judged like any candidate.
    return true;
}

bool extractVmlinux(char const* compressedImage, char const* target) try {
    std::ifstream in(orEmpty(compressedImage), std::ios::binary);
    if (!in.good())
        return false;
    // Only the first signature is ever tried, also if it is a false one: meant, for the reason
    // given at the scan.
    if (seekSignature(in) && extractTo(in, orEmpty(target))) {
        LK_LOG_INFO(target << " was extracted from " << compressedImage);
        return true;
    }
    LK_LOG_ERROR("Failed to extract vmlinux from " << compressedImage);
    return false;
} catch (std::ios_base::failure const&) {
    LK_LOG_ERROR("I/O error when extracting: " << target << " from " << compressedImage);
    return false;
}

} // namespace LK_2_13::utils
