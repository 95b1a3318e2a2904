#include "facts/split_dwarf.h"

#include "facts/dwarf_file.h"
#include "read/cursor.h"
#include "read/reasons.h"

#include <algorithm>
#include <cstring>

#include <dwarf.h>
#include <limits.h>

namespace lokata::profile {

namespace {

/// Skeletons of one file, and bytes of their names and directories in all.
constexpr std::size_t c_maxUnits = 1U << 20;
constexpr std::uint64_t c_maxNames = 256U << 20;

/// Empty if there is no string, or none that can be a part of a path.
std::string textOf(Dwarf_Die& die, unsigned name) {
    Dwarf_Attribute attribute{};
    char const* const text = dwarf_formstring(dwarf_attr(&die, name, &attribute));
    bool const isUsable = text != nullptr && ::strnlen(text, PATH_MAX) < PATH_MAX;
    return isUsable ? text : "";
}

/// True if a declaration in .debug_abbrev names a .dwo file, as those of skeletons do. Most files
/// have none, and to see it costs little beside having libdw read all debug information.
bool hasSkeletons(std::string_view abbreviations) {
    for (Cursor cursor(abbreviations, false); cursor.remaining() > 0;) {
        if (cursor.leb128() == 0)
            continue;    // the end of those of a unit
        cursor.leb128(); // the tag
        cursor.skip(1);  // whether it has children
        for (std::uint64_t name = 1, form = 1; cursor.ok() && (name != 0 || form != 0);) {
            name = cursor.leb128();
            form = cursor.leb128();
            if (form == DW_FORM_implicit_const)
                cursor.leb128();
            if (name == DW_AT_dwo_name || name == DW_AT_GNU_dwo_name)
                return true;
        }
    }
    return false;
}

class SkeletonCollector {
public:
    explicit SkeletonCollector(DwarfFile const& file) : m_file(file) {}

    void collect(SplitDwarf& result) {
        Dwarf_CU* unit = nullptr;
        Dwarf_Die die{};
        std::uint8_t type = 0;
        int status = 0;
        while (result.units.size() < c_maxUnits && m_nameBytes < c_maxNames &&
               (status = dwarf_get_units(m_file.dwarf(), unit, &unit, nullptr, &type, &die,
                                         nullptr)) == 0)
            if (type == DW_UT_skeleton)
                result.units.push_back(skeleton(unit, die));
        if (status < 0)
            result.error = dwarf_errmsg(-1);
        else if (status == 0)
            result.error = reasonText(ReasonKey::too_large, {std::to_string(m_nameBytes)});
    }

private:
    SplitUnit skeleton(Dwarf_CU* unit, Dwarf_Die& die) {
        SplitUnit result;
        dwarf_cu_info(unit, nullptr, nullptr, nullptr, nullptr, &result.id, nullptr, nullptr);
        // Names in a relocatable file are only offsets until it is linked.
        if (m_file.tables().type == ET_REL)
            return result;
        result.name = textOf(die, DW_AT_dwo_name);
        if (result.name.empty())
            result.name = textOf(die, DW_AT_GNU_dwo_name);
        result.directory = textOf(die, DW_AT_comp_dir);
        m_nameBytes += result.name.size() + result.directory.size();
        return result;
    }

    DwarfFile const& m_file;
    std::uint64_t m_nameBytes = 0;
};

/// The hash table of section 7.3.5.3 of DWARF 5, or of its predecessor, "version 2".
std::vector<std::uint64_t> idsOfIndex(std::string_view index, bool bigEndian) {
    Cursor cursor(index, bigEndian);
    std::uint16_t const first = cursor.u16();
    std::uint16_t const second = cursor.u16();
    std::uint16_t const version = first == 5 ? first : bigEndian ? second : first;
    cursor.skip(4); // the number of columns
    std::uint32_t const units = cursor.u32();
    std::uint32_t const slots = cursor.u32();
    if ((version != 2 && version != 5) || slots > cursor.remaining() / 12)
        return {};
    Cursor rows = cursor;
    rows.skipEntries(slots, 8);
    std::vector<std::uint64_t> ids;
    for (std::uint32_t i = 0; i < slots; ++i) {
        std::uint64_t const id = cursor.u64();
        std::uint32_t const row = rows.u32();
        if (row != 0 && row <= units)
            ids.push_back(id);
    }
    return ids;
}

/// The units may lie beside the skeletons that were left for them, in one relocatable file.
SplitContents contentsOfDwo(std::string const& path) {
    DwarfFile const file(path, DwarfFile::Part::split);
    SplitContents result{{}, file.error()};
    Dwarf_CU* unit = nullptr;
    std::uint8_t type = 0;
    int status = 0;
    while (result.error.empty() && result.ids.size() < c_maxUnits &&
           (status = dwarf_get_units(file.dwarf(), unit, &unit, nullptr, &type, nullptr,
                                     nullptr)) == 0) {
        std::uint64_t id = 0;
        if (type == DW_UT_split_compile &&
            dwarf_cu_info(unit, nullptr, nullptr, nullptr, nullptr, &id, nullptr, nullptr) == 0)
            result.ids.push_back(id);
    }
    if (status < 0)
        result.error = dwarf_errmsg(-1);
    return result;
}

} // namespace

SplitDwarf readSplitDwarf(std::string const& path) {
    SplitDwarf result;
    ElfSections const sections(path);
    result.error = sections.error();
    if (!hasSkeletons(sections.section(".debug_abbrev")))
        return result;
    DwarfFile const file(path);
    result.error = file.error();
    if (result.error.empty())
        SkeletonCollector(file).collect(result);
    return result;
}

SplitContents readSplitContents(std::string const& path) {
    ElfSections const sections(path);
    std::string_view const index = sections.section(".debug_cu_index");
    SplitContents result{{}, sections.error()};
    // Without units libdw fails, and cannot say why.
    bool const hasUnits = sections.has(".debug_info.dwo");
    if (hasUnits && !index.empty())
        result.ids = idsOfIndex(index, sections.tables().big_endian);
    else if (hasUnits && result.error.empty())
        result = contentsOfDwo(path);
    auto& ids = result.ids;
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    if (!ids.empty() && ids.front() == 0)
        ids.erase(ids.begin());
    return result;
}

} // namespace lokata::profile
