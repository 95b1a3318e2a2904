#pragma once

/// Whether debug information can be what its sections are named, seen at their beginnings. A file
/// can keep its headers and its build-id and yet hold zeros, or packed bytes that nothing unpacks.
/// The formats: DWARF 5, section 7.5; of packed sections, System V ABI, "Section Compression".

#include "facts/elf_tables.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lokata::profile {

struct UnitHeader {
    std::uint64_t size = 0; ///< Of the unit with its header.
    std::uint16_t version = 0;
    std::uint8_t type = 0;           ///< DW_UT_... of DWARF 5, else 0.
    std::uint64_t abbreviations = 0; ///< Where they begin in their section.
    std::uint64_t dwo_id = 0;        ///< 0 if the header holds none.
};

/// The longest header of a unit, in bytes.
constexpr std::uint64_t c_maxUnitHeader = 40;

/// The header at the start of `bytes`, of a unit that ends within `room` bytes. Empty if there is
/// none that can be. With `isRelocatable` its length may be left to the linker.
std::optional<UnitHeader> readUnitHeader(std::string_view bytes, std::uint64_t room, bool bigEndian,
                                         bool isRelocatable = false);

/// True for the start of a table of abbreviations with a declaration in it.
bool isAbbreviationTable(std::string_view bytes);

/// True if a declaration in .debug_abbrev names a .dwo file, as those of skeletons do. Most files
/// have none, and to see it costs little beside having libdw read all debug information.
bool hasSkeletons(std::string_view abbreviations);

/// Why the debug information of a file cannot be read, told by the beginnings of its sections;
/// empty if nothing speaks against it, or if there is none.
std::string debugDamageOf(ForeignFile const& file, ElfTables const& tables);

} // namespace lokata::profile
