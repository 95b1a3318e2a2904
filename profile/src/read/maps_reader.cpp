#include "read/names.h"
#include "read/profile_builder.h"
#include "read/readers.h"
#include "read/text_lines.h"

#include <optional>
#include <vector>

namespace lokata::profile {

namespace {

struct MapsLine {
    bool executable = false;
    std::string_view name;
};

bool isAccess(std::string_view text) {
    return text.size() == 4 && text.find_first_not_of("rwxsp-") == std::string_view::npos;
}

std::optional<MapsLine> parseMapsLine(std::string_view line) {
    auto rest = line;
    auto const range = word(rest);
    auto const access = word(rest);
    bool const complete =
        isAddress(word(rest)) && isAddressPair(word(rest), ':') && isAddress(word(rest));
    if (!isAddressPair(range, '-') || !isAccess(access) || !complete ||
        rest.find('\0') != std::string_view::npos)
        return std::nullopt;
    return MapsLine{access[2] == 'x', trimLeft(rest)};
}

LineFit fitOf(std::string_view line) {
    if (parseMapsLine(line))
        return LineFit::certain;
    bool const isRange = isAddressPair(word(line), '-');
    auto const access = word(line);
    return isAccess(access) || (isRange && access.size() == 4) ? LineFit::likely : LineFit::foreign;
}

void add(ProfileBuilder& builder, std::string_view name) {
    builder.module({name, classifyName(name), {}, 0});
}

/// Names with an executable mapping are the modules; when no mapping is executable, as in a
/// filtered listing, all names are.
Profile readMaps(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    std::vector<std::string> others;
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
                add(builder, unescapeMapsName(mapping->name));
        } else if (!mapping->name.empty() && !anyExecutable) {
            others.push_back(unescapeMapsName(mapping->name));
        }
    }
    if (!anyExecutable)
        for (auto const& name : others)
            add(builder, name);
    return builder.take();
}

bool isMaps(std::string_view content) {
    return isListOf(content, fitOf);
}

} // namespace

extern FormatReader const c_maps{
    {"maps", "the mappings of a process, as /proc/PID/maps"}, isMaps, readMaps};

} // namespace lokata::profile
