#include <lokata/profile/kernel_cache.h>

#include "facts/elf_facts.h"
#include "facts/foreign_file.h"
#include "facts/md5.h"
#include "read/reasons.h"

#include <optstore2/product_locations.h>

#include <unpack/kernel_payload.h>

#include <filesystem>

namespace lokata::profile {

namespace fs = std::filesystem;

namespace {

/// In bytes, packed; real ones have a tenth of that.
constexpr std::uint64_t c_maxImage = 1U << 30;

/// "vmlinux_cache/MD5/vmlinux" below the private directory: the library looks there for the
/// unpacked copy of an image that it meets.
UnpackedKernel cacheEntry(std::string const& image) {
    auto& locations = *optstore2::IProductLocations::get();
    std::string const root = locations.getTempDirectory();
    if (root.empty())
        return {"",
                reasonText(ReasonKey::kernel_cache_missing, {locations.faultOfTempDirectory()})};
    if (std::string obstacle = obstacleToReading(image, c_maxImage); !obstacle.empty())
        return {"", std::move(obstacle)};
    std::string const checksum = contentMd5(image);
    if (checksum.empty())
        return {"", reasonText(ReasonKey::kernel_image_unread)};
    fs::path const directory = fs::path(root) / "vmlinux_cache" / checksum;
    std::error_code error;
    fs::create_directories(directory, error);
    if (error)
        return {"", directory.string() + ": " + error.message()};
    return {(directory / "vmlinux").string(), ""};
}

/// A flat boot image has no tables to judge it by, so that its copy is never taken as it lies.
bool isWhole(std::string const& path) {
    ElfFacts const facts = readElfFacts(path);
    return facts.error.empty() && facts.damage.empty();
}

} // namespace

UnpackedKernel unpackedKernel(std::string const& image) {
    UnpackedKernel entry = cacheEntry(image);
    if (entry.path.empty() || isWhole(entry.path))
        return entry;
    unpack::UnpackResult const result = unpack::unpackKernel(image, entry.path);
    return result.ok ? entry : UnpackedKernel{"", result.message};
}

} // namespace lokata::profile
