#pragma once

#include <lokata/profile/export.h>

#include <string>

namespace lokata::profile {

/// What of the names of its functions an ELF file can tell without debug information.
struct SymbolTables {
    /// The full table, .symtab, or the packed one of .gnu_debugdata, an ELF file packed by xz: the
    /// appendix "MiniDebugInfo" of the manual of gdb.
    bool has_names = false;
    /// The table of the dynamic linker, .dynsym: what the file offers to others.
    bool has_exports = false;
};

/// Of a file that cannot be read, neither. A table counts if it defines a function.
SymbolTables readSymbolTables(std::string const& path);

} // namespace lokata::profile
