#include "payload_locate.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

namespace lokata::kernel {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t c_scanBlock = 0x40000;
constexpr std::size_t c_longestSignature = 13;

bool startsWith(std::string_view bytes, std::string_view prefix) {
    return bytes.substr(0, prefix.size()) == prefix;
}

std::uint64_t numberAt(std::string_view bytes, std::size_t offset, std::size_t count) {
    unsigned char raw[8] = {};
    std::memcpy(raw, bytes.data() + offset, count);
    return littleEndian(raw, count);
}

// The header of an .lzma file has no magic number: properties (0x5d is what every encoder
// writes by default), dictionary size, unpacked size or all ones. Source: doc/lzma-file-format.txt
// of XZ Utils, which also gives this way of telling such files from others.
bool isLzmaHeader(std::string_view bytes) {
    if (bytes.size() < c_longestSignature || !startsWith(bytes, "\x5d\x00\x00"sv))
        return false;
    std::uint64_t const dictionary = numberAt(bytes, 1, 4);
    std::uint64_t const unpacked = numberAt(bytes, 5, 8);
    bool const isPowerOfTwo = dictionary != 0 && (dictionary & (dictionary - 1)) == 0;
    return isPowerOfTwo && (unpacked == ~std::uint64_t{0} || unpacked >> 32 == 0);
}

// Sources: RFC 1952, doc/xz-file-format.txt of XZ Utils, RFC 8878, doc/lz4_Frame_format.md of LZ4
// (legacy frame), and the headers that bzip2 and lzop write.
std::optional<Compression> compressionOf(std::string_view bytes) {
    if (startsWith(bytes, "\x1f\x8b\x08"sv) && bytes.size() > 3 && (bytes[3] & 0xe0) == 0)
        return Compression::gzip;
    if (startsWith(bytes, "\xfd"
                          "7zXZ\0"sv))
        return Compression::xz;
    if (startsWith(bytes, "\x28\xb5\x2f\xfd"sv))
        return Compression::zstd;
    if (startsWith(bytes, "\x02\x21\x4c\x18"sv))
        return Compression::lz4;
    if (startsWith(bytes, "BZh"sv) && bytes.size() > 3 && bytes[3] >= '1' && bytes[3] <= '9' &&
        startsWith(bytes.substr(4), "\x31\x41\x59\x26\x53\x59"sv))
        return Compression::bzip2;
    if (startsWith(bytes, "\x89LZO\0\r\n\x1a\n"sv))
        return Compression::lzo;
    if (isLzmaHeader(bytes))
        return Compression::lzma;
    return std::nullopt;
}

Payload payloadAt(ImageFile const& image, std::uint64_t offset, std::uint64_t length) {
    if (offset >= image.size() || length > image.size() - offset) {
        throw Failure("it is truncated: its header places the compressed kernel at offset " +
                      std::to_string(offset) + " with a length of " + std::to_string(length) +
                      ", but the file has " + std::to_string(image.size()) + " bytes");
    }
    char start[c_longestSignature];
    RangeReader reader(image, offset, offset + length);
    auto const compression = compressionOf({start, reader.read(start, sizeof start)});
    if (!compression) {
        throw Failure("it has no known compression signature at offset " + std::to_string(offset) +
                      ", where its header places the kernel");
    }
    return {*compression, offset, offset + length};
}

} // namespace

// Sources: Linux, Documentation/arch/x86/boot.rst (fields setup_sects, boot_flag, header, version,
// payload_offset, payload_length), and drivers/firmware/efi/libstub/zboot-header.S.
std::optional<Payload> payloadByHeader(ImageFile const& image) {
    char buffer[0x250];
    std::string_view const header(buffer, image.readAt(0, buffer, sizeof buffer));

    if (header.size() >= 0x40 && startsWith(header, "MZ"sv) &&
        startsWith(header.substr(4), "zimg"sv))
        return payloadAt(image, numberAt(header, 8, 4), numberAt(header, 12, 4));
    if (header.size() == sizeof buffer && numberAt(header, 0x1fe, 2) == 0xaa55 &&
        startsWith(header.substr(0x202), "HdrS"sv) && numberAt(header, 0x206, 2) >= 0x208 &&
        numberAt(header, 0x24c, 4) != 0) {
        std::uint64_t const declared = numberAt(header, 0x1f1, 1);
        std::uint64_t const setupSectors = declared == 0 ? 4 : declared;
        return payloadAt(image, (setupSectors + 1) * 512 + numberAt(header, 0x248, 4),
                         numberAt(header, 0x24c, 4));
    }
    return std::nullopt;
}

void scanForPayloads(ImageFile const& image, std::function<bool(Payload const&)> const& visit) {
    // Blocks overlap, so that a signature across their border is seen once and whole.
    std::vector<char> buffer(c_scanBlock + c_longestSignature);
    for (std::uint64_t base = 0; base < image.size(); base += c_scanBlock) {
        std::string_view const block(buffer.data(),
                                     image.readAt(base, buffer.data(), buffer.size()));
        for (std::size_t i = 0; i < std::min(block.size(), c_scanBlock); ++i) {
            auto const compression = compressionOf(block.substr(i));
            if (compression && visit({*compression, base + i, image.size()}))
                return;
        }
    }
}

} // namespace lokata::kernel
