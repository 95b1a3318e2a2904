#include <lokata/profile/kernel_cache.h>

#include "facts/file_memo.h"
#include "facts/foreign_file.h"
#include "facts/md5.h"
#include "read/reasons.h"
#include "search/packed_kernel.h"

#include <lokata2/search_types.h>
#include <optstore2/product_locations.h>
#include <toolbelt2/mutex.h>
#include <toolbelt2/path.h>
#include <toolbelt2/pending_file.h>
#include <toolbelt2/text.h>
#include <unpack/kernel_payload.h>
#include <unpack/packed_file.h>

#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace lokata::profile {

namespace fs = std::filesystem;

namespace {

/// In bytes, packed; real ones have a tenth of that.
constexpr std::uint64_t c_maxImage = 1U << 30;

constexpr std::string_view c_image = "vmlinux";
constexpr std::string_view c_moduleEnding = ".ko";

std::string_view unpackedName(std::string_view path) {
    return unpack::withoutPackedEnding(toolbelt2::last_component(path));
}

bool isNamedImage(std::string_view path) {
    return toolbelt2::starts_with(toolbelt2::last_component(path), LK_2_13::VMLINUZ);
}

/// Behind an ending for packing, if there is one.
bool isNamedKernel(std::string_view path) {
    std::string_view const name = unpackedName(path);
    return toolbelt2::ends_with(name, c_moduleEnding) || toolbelt2::starts_with(name, c_image);
}

/// "vmlinux_cache/MD5/vmlinux" below the private directory: the library looks there for the
/// unpacked copy of an image that it meets. A module keeps its name, by which tools know it.
UnpackedKernel cacheEntry(std::string const& image) {
    auto& locations = *optstore2::IProductLocations::get();
    std::string const root = locations.getTempDirectory();
    if (root.empty())
        return {"",
                reasonText(ReasonKey::kernel_cache_missing, {locations.faultOfTempDirectory()})};
    if (std::string obstacle = obstacleToReading(image, c_maxImage); !obstacle.empty())
        return {"", std::move(obstacle)};
    // Asked once for each content in a run, as below.
    static FileMemo<std::string> memo;
    std::string const checksum = memo.get(image, contentMd5);
    if (checksum.empty())
        return {"", reasonText(ReasonKey::kernel_image_unread)};
    std::string_view const name = unpackedName(image);
    bool const isModule = !isNamedImage(image) && toolbelt2::ends_with(name, c_moduleEnding);
    return {toolbelt2::join_path(root, {"vmlinux_cache", checksum, isModule ? name : c_image}), ""};
}

/// Longer than any note; in bytes.
constexpr std::uint64_t c_maxNote = 512;

/// Beside the copy, in the form of md5sum(1). Written after the copy.
std::string notePath(std::string const& copy) {
    return copy + ".md5";
}

std::string noteOn(std::string const& copy) {
    std::string const checksum = contentMd5(copy);
    return checksum.empty() ? ""
                            : checksum + "  " + std::string(toolbelt2::last_component(copy)) + "\n";
}

/// Whether the copy is still what it was unpacked to. A copy without a note is somebody else's.
bool isAsNoted(std::string const& copy) {
    if (!obstacleToReading(copy, unpack::c_maxKernel).empty())
        return false;
    ForeignFile const file(notePath(copy));
    std::string note;
    return file.error().empty() && file.size() <= c_maxNote && file.read(0, file.size(), note) &&
           !note.empty() && note == noteOn(copy);
}

/// Asked once for each content in a run: what it remembers lives as long as the process, an entry
/// for each image that was asked for.
bool isTrusted(std::string const& copy) {
    static FileMemo<bool> memo;
    return memo.get(copy, isAsNoted);
}

/// Whatever else has the name is no copy, and nothing would be unpacked in its place.
void removeIrregular(std::string const& copy) {
    std::error_code ignored;
    if (!fs::is_regular_file(fs::symlink_status(copy, ignored)))
        fs::remove(copy, ignored);
}

/// Why there is no copy now, or the empty text.
std::string fill(std::string const& image, std::string const& copy) {
    std::error_code error;
    std::string const directory = toolbelt2::parent_of(copy);
    fs::create_directories(directory, error);
    if (error)
        return directory + ": " + error.message();
    removeIrregular(copy);
    unpack::UnpackResult const result = unpack::unpackKernel(image, copy);
    if (!result.ok) {
        // What stood there must not be taken instead.
        fs::remove(copy, error);
        return result.message;
    }
    try {
        toolbelt2::pending_file_t note(notePath(copy));
        note.write(noteOn(copy));
        note.commit();
    } catch (std::runtime_error const&) {
        // Then it is unpacked anew by the next run.
    }
    return {};
}

} // namespace

bool isPackedKernel(std::string const& path, ElfFacts const& facts) {
    if (!facts.is_file || facts.error.empty())
        return false;
    return isNamedImage(path) || facts.packing == Packing::kernel_image ||
           (facts.packing == Packing::whole_file && isNamedKernel(path));
}

bool isPackedKernelName(std::string_view path) {
    bool const hasEnding = unpackedName(path).size() < toolbelt2::last_component(path).size();
    return isNamedImage(path) || (hasEnding && isNamedKernel(path));
}

UnpackedKernel unpackedKernel(std::string const& image) {
    UnpackedKernel entry = cacheEntry(image);
    if (entry.path.empty() || isTrusted(entry.path))
        return entry;
    // Of several threads that want one copy the first makes it.
    static toolbelt2::mutex_t filling;
    toolbelt2::mutex_guard_t const guard(filling);
    if (isTrusted(entry.path))
        return entry;
    std::string error = fill(image, entry.path);
    return error.empty() ? entry : UnpackedKernel{"", std::move(error)};
}

UnpackedKernel unpackKernelTo(std::string const& image, std::string const& target) {
    unpack::UnpackResult result = unpack::unpackKernel(image, target);
    return result.ok ? UnpackedKernel{target, ""} : UnpackedKernel{"", std::move(result.message)};
}

} // namespace lokata::profile
