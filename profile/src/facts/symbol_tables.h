#pragma once

#include "facts/elf_tables.h"

#include <string>

namespace lokata::profile {

/// What of the names of its functions an ELF file can tell without debug information. A table
/// counts if it defines a function.
struct SymbolTables {
    /// The full table, .symtab, or the packed one of .gnu_debugdata.
    bool has_names = false;
    /// The table of the dynamic linker, .dynsym: what the file offers to others.
    bool has_exports = false;
};

/// Without what is packed. Reads no more of a table than up to its first function.
SymbolTables readSymbolTables(ForeignFile const& file, ElfTables const& tables);

/// Whether the section .gnu_debugdata, an ELF file packed by xz, has names: the appendix
/// "MiniDebugInfo" of the manual of gdb. False for a file that cannot be read.
bool hasPackedNames(std::string const& path);

/// The name of that section.
constexpr char c_packedNames[] = ".gnu_debugdata";

} // namespace lokata::profile
