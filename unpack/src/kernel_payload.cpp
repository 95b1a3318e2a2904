#include <unpack/kernel_payload.h>

#include "image_file.h"
#include "payload_decode.h"
#include "payload_locate.h"

#include <toolbelt2/pending_file.h>

#include <optional>
#include <stdexcept>
#include <string_view>

namespace lokata::unpack {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t c_head = 64;

/// Far above the handful of false signatures in a real image; bounds the work on a made-up one.
constexpr int c_maxCandidates = 256;

/// What is inside: an ELF file (a vmlinux or a module), or the flat boot image that arm64, riscv
/// and loongarch kernels are packed from. A flat image carries no build-id note.
enum class KernelKind { elf, boot_image };

/// Sources: the ELF identification of elf(5); for the flat images Linux, Documentation/arch:
/// arm64/booting.rst, riscv/boot-image-header.rst, loongarch/booting.rst.
std::optional<KernelKind> kernelKindOf(std::string_view head) {
    if (head.size() < c_head)
        return std::nullopt;
    if (head.substr(0, 4) == "\x7f"
                             "ELF"sv &&
        (head[4] == 1 || head[4] == 2) && (head[5] == 1 || head[5] == 2) && head[6] == 1)
        return KernelKind::elf;
    std::string_view const magic = head.substr(56, 4);
    if (magic == "ARM\x64"sv || magic == "RSC\x05"sv || magic == "\xcd\x23\x82\x81"sv)
        return KernelKind::boot_image;
    return std::nullopt;
}

std::optional<KernelKind> kindOfPayload(ImageFile const& image, Payload const& payload) {
    std::string head;
    decodePayload(image, payload, [&](std::string_view bytes) {
        head.append(bytes.substr(0, c_head - head.size()));
        return head.size() < c_head;
    });
    return kernelKindOf(head);
}

/// A packed flat kernel is left to the scan: boot loaders want device trees behind it.
std::optional<Payload> findInPackedFile(ImageFile const& image) {
    auto const payload = packedFile(image);
    try {
        if (payload && kindOfPayload(image, *payload) == KernelKind::elf)
            return payload;
    } catch (Failure const&) {
        // The scan meets the same, and tells it if it finds nothing else.
    }
    return std::nullopt;
}

Payload findByScan(ImageFile const& image) {
    std::optional<Payload> found;
    std::string reason;
    int tried = 0;
    scanForPayloads(image, [&](Payload const& payload) {
        try {
            if (kindOfPayload(image, payload))
                found = payload;
        } catch (Failure const& failure) {
            // Most likely a false signature: the search for the real one goes on. That of lzo is
            // too long to be there by chance.
            if (reason.empty() || payload.compression == Compression::lzo)
                reason = failure.what();
        }
        return found || ++tried == c_maxCandidates;
    });
    if (found)
        return *found;
    char head[c_head];
    if (kernelKindOf({head, image.readAt(0, head, sizeof head)}))
        throw Failure("it is not compressed");
    throw Failure("it holds no compressed kernel that can be unpacked" +
                  (reason.empty() ? "" : " (" + reason + ")"));
}

Payload find(ImageFile const& image) {
    auto const payload = payloadByHeader(image);
    if (!payload) {
        auto const packed = findInPackedFile(image);
        return packed ? *packed : findByScan(image);
    }
    if (!kindOfPayload(image, *payload))
        throw Failure(std::string("it holds a ") + compressionName(payload->compression) +
                      " stream that is neither an ELF file nor a kernel image when unpacked");
    return *payload;
}

} // namespace

UnpackResult unpackKernel(std::string const& image, std::string const& target,
                          std::uint64_t maxSize) {
    UnpackResult result;
    try {
        ImageFile const file(image);
        Payload const payload = find(file);
        if (file.isSameFileAs(target))
            throw Failure(target + " is the image itself");
        toolbelt2::pending_file_t output(target);
        decodePayload(file, payload, [&](std::string_view bytes) {
            if (bytes.size() > maxSize - result.size)
                throw Failure("its kernel has more than " + std::to_string(maxSize) +
                              " bytes when unpacked");
            result.size += bytes.size();
            output.write(bytes);
            return true;
        });
        output.commit();
        result.ok = true;
    } catch (std::runtime_error const& failure) {
        result.message = "cannot unpack " + image + ": " + failure.what();
    }
    return result;
}

} // namespace lokata::unpack
