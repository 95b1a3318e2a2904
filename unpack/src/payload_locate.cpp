#include "payload_locate.h"

#include "signature.h"

#include <toolbelt2/text.h>
#include <unpack/kernel_payload.h>
#include <unpack/packed_file.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace lokata::unpack {

namespace {

using namespace std::string_view_literals;
using toolbelt2::starts_with;

constexpr std::size_t c_scanBlock = 0x40000;

/// No image comes near it; bounds the time for a huge file.
constexpr std::uint64_t c_maxScan = std::uint64_t{1} << 30;

/// Sources: Linux, drivers/firmware/efi/libstub/zboot-header.S, and Documentation/arch/x86/boot.rst
/// (fields boot_flag, header, version, payload_length).
bool isEfiImage(std::string_view header) {
    return header.size() >= 0x40 && starts_with(header, "MZ"sv) &&
           starts_with(header.substr(4), "zimg"sv);
}

bool isX86Image(std::string_view header) {
    return header.size() >= c_kernelHeader && littleEndianAt(header, 0x1fe, 2) == 0xaa55 &&
           starts_with(header.substr(0x202), "HdrS"sv) &&
           littleEndianAt(header, 0x206, 2) >= 0x208 && littleEndianAt(header, 0x24c, 4) != 0;
}

Payload payloadAt(ImageFile const& image, std::uint64_t offset, std::uint64_t length) {
    if (offset >= image.size() || length > image.size() - offset)
        throw Failure("it is truncated: its header places the compressed kernel at offset " +
                      std::to_string(offset) + " with a length of " + std::to_string(length) +
                      ", but the file has " + std::to_string(image.size()) + " bytes");
    char start[c_longestSignature];
    auto const count = static_cast<std::size_t>(std::min<std::uint64_t>(sizeof start, length));
    auto const compression = compressionOf({start, image.readAt(offset, start, count)});
    if (!compression)
        throw Failure("it has no known compression signature at offset " + std::to_string(offset) +
                      ", where its header places the kernel");
    return {*compression, offset, offset + length, false};
}

} // namespace

/// Sources as above, for x86 with the fields setup_sects and payload_offset.
std::optional<Payload> payloadByHeader(ImageFile const& image) {
    char buffer[c_kernelHeader];
    std::string_view const header(buffer, image.readAt(0, buffer, sizeof buffer));

    if (isEfiImage(header))
        return payloadAt(image, littleEndianAt(header, 8, 4), littleEndianAt(header, 12, 4));
    if (!isX86Image(header))
        return std::nullopt;
    std::uint64_t const declared = littleEndianAt(header, 0x1f1, 1);
    std::uint64_t const setupSectors = declared == 0 ? 4 : declared;
    return payloadAt(image, (setupSectors + 1) * 512 + littleEndianAt(header, 0x248, 4),
                     littleEndianAt(header, 0x24c, 4));
}

bool isKernelImage(std::string_view start) {
    return isEfiImage(start) || isX86Image(start);
}

std::optional<Payload> packedFile(ImageFile const& image) {
    char start[c_longestSignature];
    auto const compression = packingOf({start, image.readAt(0, start, sizeof start)});
    if (!compression)
        return std::nullopt;
    return Payload{*compression, 0, image.size(), true};
}

void scanForPayloads(ImageFile const& image, std::function<bool(Payload const&)> const& visit) {
    // Blocks overlap, so that a signature across their border is seen once and whole.
    std::vector<char> buffer(c_scanBlock + c_longestSignature);
    std::uint64_t const size = std::min(image.size(), c_maxScan);
    for (std::uint64_t base = 0; base < size; base += c_scanBlock) {
        std::string_view const block(buffer.data(),
                                     image.readAt(base, buffer.data(), buffer.size()));
        std::size_t const end = std::min(block.size(), c_scanBlock);
        for (std::size_t i = findSignatureByte(block, 0); i < end;
             i = findSignatureByte(block, i + 1)) {
            auto const compression = compressionOf(block.substr(i));
            if (compression && visit({*compression, base + i, image.size(), false}))
                return;
        }
    }
}

} // namespace lokata::unpack
