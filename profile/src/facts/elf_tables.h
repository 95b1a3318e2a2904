#pragma once

/// The header tables of an ELF file, read within bounds, and whether the file is whole by them. The
/// format: System V ABI, chapters "Object Files" and "Program Loading and Dynamic Linking".

#include "facts/foreign_file.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

struct ElfSection {
    std::uint32_t name = 0; ///< An offset into `ElfTables::names`.
    std::uint32_t type = 0; ///< SHT_...
    std::uint64_t flags = 0;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint32_t link = 0;
    std::uint32_t info = 0;
    std::uint64_t alignment = 0;
    std::uint64_t entry_size = 0;
};

struct ElfSegment {
    std::uint32_t type = 0; ///< PT_...
    std::uint64_t offset = 0;
    std::uint64_t address = 0;
    std::uint64_t file_size = 0;
    std::uint64_t memory_size = 0;
    std::uint64_t alignment = 0;
};

struct ElfTables {
    /// What of the tables cannot be read; empty if nothing. The others hold what could be.
    std::string damage;
    bool wide = false; ///< Of 64 bits.
    bool big_endian = false;
    std::uint16_t type = 0; ///< ET_...
    std::uint16_t machine = 0;
    std::vector<ElfSection> sections; ///< With the empty one at their start.
    std::vector<ElfSegment> segments;
    std::string names;     ///< The content of the section that holds the names of all.
    std::uint64_t end = 0; ///< Behind the last of the tables.

    /// Empty for a name that lies outside of the table.
    std::string_view nameOf(ElfSection const& section) const;

    /// A section that is loaded has bytes in the file; notes, which separate debug files keep, do
    /// not count.
    bool holdsContents() const;
};

/// Empty if the file does not begin as an ELF file does.
std::optional<ElfTables> readElfTables(ForeignFile const& file);

/// The end of a range; the largest number where the sum is larger.
std::uint64_t endOf(std::uint64_t offset, std::uint64_t size);

/// Why the file is not the whole one that its tables describe, with what they say and what the file
/// has; empty if nothing speaks against it. Contents are not read, except for the ends of tables: a
/// file whose code was overwritten passes.
std::string damageOf(ForeignFile const& file, ElfTables const& tables);

/// Whether a symbol table and the names in it can be what they say, by the ends of both.
bool areSymbols(ForeignFile const& file, ElfTables const& tables, ElfSection const& symbols);

/// Whether a table of the dynamic linker ends, and tells what a file with dynamic symbols must
/// tell: the chapter "Dynamic Linking" of the System V ABI. `names` is the section of its strings,
/// null if not known.
bool isDynamicTable(ForeignFile const& file, ElfTables const& tables, std::uint64_t offset,
                    std::uint64_t size, ElfSection const* names);

} // namespace lokata::profile
