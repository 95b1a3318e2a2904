#include "read/maps.h"
#include "read/names.h"
#include "read/profile_builder.h"
#include "read/readers.h"
#include "read/text_lines.h"

#include <toolbelt2/text.h>

#include <array>
#include <charconv>
#include <string>
#include <vector>

#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace lokata::profile {

namespace {

bool isAccess(std::string_view text) {
    return text.size() == 4 && text.find_first_not_of("rwxsp-") == std::string_view::npos;
}

std::optional<std::uint64_t> decimalOf(std::string_view text) {
    std::uint64_t value = 0;
    auto const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end)
        return std::nullopt;
    return value;
}

LineFit fitOf(std::string_view line) {
    if (parseMapsLine(line))
        return LineFit::certain;
    bool const isRange = hexPairOf(takeWord(line), '-').has_value();
    auto const access = takeWord(line);
    return isAccess(access) || (isRange && access.size() == 4) ? LineFit::likely : LineFit::foreign;
}

/// Two files of one name are two modules: one can be mounted over the other, or have replaced it.
void add(ProfileBuilder& builder, MapsLine const& mapping) {
    auto const name = unescapeMapsName(mapping.name);
    builder.module({name, classifyName(name), {}, 0, mapping.file});
}

/// Names with an executable mapping are the modules; when no mapping is executable, as in a
/// filtered listing, all names are.
Profile readMaps(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    std::vector<MapsLine> others;
    bool anyExecutable = false;
    std::string_view line;
    for (Lines lines(content); lines.next(line);) {
        auto const mapping = parseMapsLine(line);
        if (!mapping) {
            if (!trimLeft(line).empty())
                builder.error(lines.offset(), "not a line of a memory map");
        } else if (mapping->executable) {
            anyExecutable = true;
            if (!mapping->name.empty())
                add(builder, *mapping);
        } else if (!mapping->name.empty() && !anyExecutable) {
            others.push_back(*mapping);
        }
    }
    if (!anyExecutable)
        for (auto const& mapping : others)
            add(builder, mapping);
    return builder.take();
}

bool isMaps(std::string_view content) {
    return isListOf(content, fitOf);
}

/// Of "/proc/PID/maps" and of "/proc/PID/task/TID/maps", which lists the same; else 0.
std::uint32_t processOf(std::string_view path) {
    constexpr std::string_view c_start = "/proc/";
    constexpr std::string_view c_end = "/maps";
    if (path.size() < c_start.size() + c_end.size() || !toolbelt2::starts_with(path, c_start) ||
        !toolbelt2::ends_with(path, c_end))
        return 0;
    path.remove_prefix(c_start.size());
    std::uint32_t process = 0;
    auto const parsed = std::from_chars(path.data(), path.data() + path.size(), process);
    bool const isNumber = parsed.ec == std::errc() && *parsed.ptr == '/';
    return isNumber ? process : 0;
}

std::uint32_t processOf(int descriptor) {
    struct statfs system {};
    if (::fstatfs(descriptor, &system) != 0 || system.f_type != PROC_SUPER_MAGIC)
        return 0;
    std::array<char, 64> path{};
    auto const link = "/proc/self/fd/" + std::to_string(descriptor);
    auto const size = ::readlink(link.c_str(), path.data(), path.size());
    return size < 0 ? 0 : processOf({path.data(), static_cast<std::size_t>(size)});
}

/// Notes the process whose list of mappings that is: /proc/PID/maps itself, by whatever path it was
/// opened, and no copy of it.
void noteLiveProcess(int descriptor, Profile& profile) {
    profile.live_process = processOf(descriptor);
    for (Module& module : profile.modules)
        module.pid = profile.live_process;
}

} // namespace

std::optional<MapsLine> parseMapsLine(std::string_view line) {
    auto rest = line;
    auto const range = hexPairOf(takeWord(rest), '-');
    auto const access = takeWord(rest);
    auto const offset = hexNumberOf(takeWord(rest));
    auto const device = hexPairOf(takeWord(rest), ':');
    auto const inode = decimalOf(takeWord(rest));
    bool const isComplete = range && isAccess(access) && offset && device && inode;
    if (!isComplete || rest.find('\0') != std::string_view::npos)
        return std::nullopt;
    MapsLine mapping{range->first, range->second, *offset, access[2] == 'x', {}, trimLeft(rest)};
    if (*inode != 0)
        mapping.file = {static_cast<std::uint32_t>(device->first),
                        static_cast<std::uint32_t>(device->second), *inode};
    return mapping;
}

extern FormatReader const c_maps{
    {"maps", "/proc/PID/maps"}, isMaps, readMaps, nullptr, noteLiveProcess};

} // namespace lokata::profile
