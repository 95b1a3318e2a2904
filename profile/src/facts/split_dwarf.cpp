#include "facts/split_dwarf.h"

#include "facts/debug_content.h"
#include "facts/dwarf_file.h"
#include "read/cursor.h"
#include "read/reasons.h"

#include <algorithm>
#include <cstring>
#include <iterator>

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

/// The index of a package: section 7.3.5.3 of DWARF 5, or its predecessor, "version 2". It is one
/// table of hashes, and one of where the parts of each unit lie.
class PackageIndex {
public:
    explicit PackageIndex(ElfSections const& file)
        : m_file(file), m_index(file.section(".debug_cu_index")) {}

    /// Of the units that are there.
    std::vector<std::uint64_t> ids() {
        Cursor cursor(m_index, m_file.tables().big_endian);
        if (!readHeader(cursor))
            return {};
        Cursor rows = cursor;
        rows.skipEntries(m_slots, 8);
        std::vector<std::uint64_t> ids;
        for (std::uint32_t i = 0; i < m_slots; ++i) {
            std::uint64_t const id = cursor.u64();
            std::uint32_t const row = rows.u32();
            if (row != 0 && row <= m_units && isHeld(id, row - 1))
                ids.push_back(id);
        }
        return ids;
    }

private:
    struct Part {
        std::string_view section;
        std::uint64_t offset = 0;
        std::uint64_t size = 0;
    };

    bool readHeader(Cursor& cursor) {
        std::uint16_t const first = cursor.u16();
        std::uint16_t const second = cursor.u16();
        m_version = first == 5 ? first : cursor.bigEndian() ? second : first;
        m_columns = cursor.u32();
        m_units = cursor.u32();
        m_slots = cursor.u32();
        if ((m_version != 2 && m_version != 5) || m_columns > c_maxColumns ||
            m_slots > cursor.remaining() / 12)
            return false;
        m_tableAt = cursor.offset() + std::uint64_t{m_slots} * 12;
        return m_units <= (m_index.size() - m_tableAt) / 8;
    }

    std::uint32_t at(std::uint64_t line, std::uint32_t column) const {
        Cursor cursor(m_index, m_file.tables().big_endian);
        cursor.skip(m_tableAt + (line * m_columns + column) * 4);
        return cursor.u32();
    }

    /// Where a column tells of one; the numbers changed between the versions.
    std::string_view sectionOf(std::uint32_t column) const {
        constexpr std::string_view c_names[][2]{
            {"", ""},
            {".debug_info.dwo", ".debug_info.dwo"},
            {".debug_types.dwo", ""},
            {".debug_abbrev.dwo", ".debug_abbrev.dwo"},
            {".debug_line.dwo", ".debug_line.dwo"},
            {".debug_loc.dwo", ".debug_loclists.dwo"},
            {".debug_str_offsets.dwo", ".debug_str_offsets.dwo"},
            {".debug_macinfo.dwo", ".debug_macro.dwo"},
            {".debug_macro.dwo", ".debug_rnglists.dwo"}};
        std::uint32_t const kind = at(0, column);
        return kind < std::size(c_names) ? c_names[kind][m_version == 5 ? 1 : 0]
                                         : std::string_view();
    }

    /// Its parts lie in their sections, and the unit is one, with abbreviations, and of that id.
    bool isHeld(std::uint64_t id, std::uint32_t row) {
        Part info;
        Part abbreviations;
        for (std::uint32_t column = 0; column < m_columns; ++column) {
            Part const part{sectionOf(column), at(row + 1, column), at(m_units + row + 1, column)};
            if (part.section.empty() || part.size == 0)
                continue;
            std::uint64_t const size = m_file.sizeOf(part.section);
            if (part.offset > size || part.size > size - part.offset)
                return false;
            if (part.section == ".debug_info.dwo")
                info = part;
            else if (part.section == ".debug_abbrev.dwo")
                abbreviations = part;
        }
        auto const unit = readUnitHeader(m_file.part(info.section, info.offset, c_maxUnitHeader),
                                         info.size, m_file.tables().big_endian);
        return unit && (unit->dwo_id == 0 || unit->dwo_id == id) &&
               unit->abbreviations < abbreviations.size &&
               isAbbreviationTable(
                   m_file.part(abbreviations.section, abbreviations.offset + unit->abbreviations,
                               std::min(c_abbreviation, abbreviations.size - unit->abbreviations)));
    }

    /// More than there are kinds of sections.
    static constexpr std::uint32_t c_maxColumns = 16;
    /// Of a declaration as much as is looked at.
    static constexpr std::uint64_t c_abbreviation = 32;

    ElfSections const& m_file;
    std::string_view m_index;
    std::uint16_t m_version = 0;
    std::uint32_t m_columns = 0;
    std::uint32_t m_units = 0;
    std::uint32_t m_slots = 0;
    std::uint64_t m_tableAt = 0;
};

/// The units may lie beside the skeletons that were left for them, in one relocatable file.
SplitContents contentsOfDwo(std::string const& path) {
    DwarfFile const file(path, DwarfFile::Part::split);
    SplitContents result{{}, file.error()};
    Dwarf_CU* unit = nullptr;
    Dwarf_Die die{};
    std::uint8_t type = 0;
    int status = 0;
    while (result.error.empty() && result.ids.size() < c_maxUnits &&
           (status = dwarf_get_units(file.dwarf(), unit, &unit, nullptr, &type, &die, nullptr)) ==
               0) {
        std::uint64_t id = 0;
        // Without its abbreviations a unit has no tag.
        if (type == DW_UT_split_compile && dwarf_tag(&die) > 0 &&
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
    SplitContents result{{}, sections.error()};
    // Without units libdw fails, and cannot say why.
    bool const hasUnits = sections.has(".debug_info.dwo");
    if (hasUnits && sections.has(".debug_cu_index"))
        result.ids = PackageIndex(sections).ids();
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
