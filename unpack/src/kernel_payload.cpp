#include <unpack/kernel_payload.h>

#include "image_file.h"
#include "payload_decode.h"
#include "payload_locate.h"

#include <toolbelt2/pending_file.h>

#include <algorithm>
#include <string_view>

namespace lokata::kernel {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t c_head = 64;

// Far above the handful of false signatures in a real image; bounds the work on a made-up one.
constexpr int c_maxCandidates = 256;

// Sources: the ELF identification of elf(5); for the flat images Linux, Documentation/arch:
// arm64/booting.rst, riscv/boot-image-header.rst, loongarch/booting.rst.
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
    decodePayload(image, payload, [&](char const* pBytes, std::size_t count) {
        head.append(pBytes, std::min(count, c_head - head.size()));
        return head.size() < c_head;
    });
    return kernelKindOf(head);
}

struct Found {
    Payload payload;
    KernelKind kind;
};

Found findByScan(ImageFile const& image) {
    std::optional<Found> found;
    std::string reason;
    int tried = 0;
    scanForPayloads(image, [&](Payload const& payload) {
        try {
            if (auto const kind = kindOfPayload(image, payload))
                found = Found{payload, *kind};
        } catch (Failure const& failure) {
            // Most likely a false signature: the search for the real one goes on. That of lzo is
            // too long to be there by chance.
            if (reason.empty() || payload.compression == Compression::lzo)
                reason = failure.what();
        }
        return found || ++tried == c_maxCandidates;
    });
    if (!found) {
        char head[c_head];
        if (kernelKindOf({head, image.readAt(0, head, sizeof head)}))
            throw Failure("it is not compressed");
        throw Failure("it holds no compressed kernel that can be unpacked" +
                      (reason.empty() ? "" : " (" + reason + ")"));
    }
    return *found;
}

Found find(ImageFile const& image) {
    auto const payload = payloadByHeader(image);
    if (!payload)
        return findByScan(image);
    auto const kind = kindOfPayload(image, *payload);
    if (!kind) {
        throw Failure(std::string("it holds a ") + compressionName(payload->compression) +
                      " stream that is neither an ELF file nor a kernel image when unpacked");
    }
    return {*payload, *kind};
}

} // namespace

char const* compressionName(Compression compression) {
    switch (compression) {
    case Compression::gzip:
        return "gzip";
    case Compression::xz:
        return "xz";
    case Compression::zstd:
        return "zstd";
    case Compression::lz4:
        return "lz4";
    case Compression::bzip2:
        return "bzip2";
    case Compression::lzma:
        return "lzma";
    case Compression::lzo:
        return "lzo";
    }
    return "unknown";
}

char const* kernelKindName(KernelKind kind) {
    return kind == KernelKind::elf ? "ELF file" : "kernel image";
}

FindResult findPayload(std::string const& image) {
    FindResult result;
    try {
        Found const found = find(ImageFile(image));
        result.payload = found.payload;
        result.kind = found.kind;
    } catch (Failure const& failure) {
        result.message = "cannot unpack " + image + ": " + failure.what();
    }
    return result;
}

UnpackResult unpackKernel(std::string const& image, std::string const& target,
                          std::uint64_t maxSize) {
    UnpackResult result;
    try {
        ImageFile const file(image);
        Found const found = find(file);
        result.compression = found.payload.compression;
        result.kind = found.kind;
        if (file.isSameFileAs(target))
            throw Failure(target + " is the image itself");
        toolbelt2::pending_file_t output(target);
        decodePayload(file, found.payload, [&](char const* pBytes, std::size_t count) {
            result.size += count;
            if (result.size > maxSize)
                throw Failure("its kernel has more than " + std::to_string(maxSize) +
                              " bytes when unpacked");
            output.write(pBytes, count);
            return true;
        });
        output.commit();
        result.ok = true;
        result.message = target + " is the " + kernelKindName(found.kind) + " unpacked from " +
                         image + " (" + compressionName(found.payload.compression) + ")";
    } catch (std::runtime_error const& failure) {
        result.message = "cannot unpack " + image + ": " + failure.what();
    }
    return result;
}

} // namespace lokata::kernel
