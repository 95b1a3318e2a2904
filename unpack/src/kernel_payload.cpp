#include <unpack/kernel_payload.h>

#include "image_file.h"
#include "payload_decode.h"
#include "payload_locate.h"

#include <toolbelt2/descriptor.h>
#include <toolbelt2/pending_file.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace lokata::unpack {

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
    decodePayload(image, payload, [&](std::string_view bytes) {
        head.append(bytes.substr(0, c_head - head.size()));
        return head.size() < c_head;
    });
    return kernelKindOf(head);
}

struct Found {
    std::optional<Payload> payload; ///< Unset if the file itself is the kernel.
    KernelKind kind;
};

// A packed flat kernel is left to the scan: boot loaders want device trees behind it.
std::optional<Found> findInPackedFile(ImageFile const& image) {
    auto const payload = packedFile(image);
    if (!payload)
        return std::nullopt;
    try {
        if (kindOfPayload(image, *payload) == KernelKind::elf)
            return Found{payload, KernelKind::elf};
    } catch (Failure const&) {
        // The scan meets the same, and tells it if it finds nothing else.
    }
    return std::nullopt;
}

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
    if (found)
        return *found;
    char head[c_head];
    if (auto const kind = kernelKindOf({head, image.readAt(0, head, sizeof head)}))
        return {std::nullopt, *kind};
    throw Failure("it holds no compressed kernel that can be unpacked" +
                  (reason.empty() ? "" : " (" + reason + ")"));
}

Found find(ImageFile const& image) {
    auto const payload = payloadByHeader(image);
    if (!payload) {
        auto const packed = findInPackedFile(image);
        return packed ? *packed : findByScan(image);
    }
    auto const kind = kindOfPayload(image, *payload);
    if (!kind) {
        throw Failure(std::string("it holds a ") + compressionName(payload->compression) +
                      " stream that is neither an ELF file nor a kernel image when unpacked");
    }
    return {payload, *kind};
}

char const* const c_notCompressed = "it is not compressed";

std::string refusal(std::string const& image, std::string const& reason) {
    return "cannot unpack " + image + ": " + reason;
}

// Takes the unpacked bytes, one part after the other.
using Writer = std::function<void(std::string_view)>;

// Finds the kernel in an image and lets `unpack` hand it on: to be called with the image and with
// what unpacks it into a writer.
template <typename Unpack>
UnpackResult unpackWith(std::string const& path, std::uint64_t maxSize, Unpack const& unpack) {
    UnpackResult result;
    try {
        ImageFile const image(path);
        Found const found = find(image);
        result.kind = found.kind;
        if (!found.payload)
            throw Failure(c_notCompressed);
        result.compression = found.payload->compression;
        unpack(image, [&](Writer const& write) {
            decodePayload(image, *found.payload, [&](std::string_view bytes) {
                if (bytes.size() > maxSize - result.size)
                    throw Failure("its kernel has more than " + std::to_string(maxSize) +
                                  " bytes when unpacked");
                result.size += bytes.size();
                write(bytes);
                return true;
            });
        });
        result.ok = true;
    } catch (std::runtime_error const& failure) {
        result.message = refusal(path, failure.what());
    }
    return result;
}

} // namespace

FindResult findPayload(std::string const& image) {
    FindResult result;
    try {
        Found const found = find(ImageFile(image));
        result.payload = found.payload;
        result.kind = found.kind;
        if (!found.payload)
            result.message = refusal(image, c_notCompressed);
    } catch (Failure const& failure) {
        result.message = refusal(image, failure.what());
    }
    return result;
}

UnpackResult unpackKernel(std::string const& image, std::string const& target,
                          std::uint64_t maxSize) {
    return unpackWith(
        image, maxSize,
        [&](ImageFile const& file, auto const& unpackInto) {
            if (file.isSameFileAs(target))
                throw Failure(target + " is the image itself");
            toolbelt2::pending_file_t output(target);
            unpackInto([&](std::string_view bytes) { output.write(bytes); });
            output.commit();
        });
}

UnpackResult unpackKernel(std::string const& image, int descriptor, std::uint64_t maxSize) {
    return unpackWith(
        image, maxSize,
        [&](ImageFile const&, auto const& unpackInto) {
            unpackInto([&](std::string_view bytes) {
                if (std::error_code const error = toolbelt2::write_all(descriptor, bytes))
                    throw std::system_error(error, "it cannot be written");
            });
        });
}

} // namespace lokata::unpack
