#pragma once

#include "facts/elf_tables.h"
#include "facts/foreign_file.h"

#include <memory>
#include <string>
#include <string_view>

#include <elfutils/libdw.h>
#include <libelf.h>

namespace lokata::profile {

/// A file with its DWARF, opened such that libdw can be let loose on it. It reads all sections of
/// DWARF into memory, trusts that strings end within theirs, and opens files by the names that it
/// finds; so the file is whole, its string sections end, its debug information is of a bounded
/// size, and its link to a supplementary file is hidden. For one thread at a time.
class DwarfFile {
public:
    explicit DwarfFile(std::string const& path);

    /// Why there is no DWARF to read, a clause for a sentence; empty if there is.
    std::string const& error() const { return m_error; }
    ElfTables const& tables() const { return m_tables; }
    /// Null only if there is an error.
    Dwarf* dwarf() const { return m_dwarf.get(); }
    /// The content of a section as libdw uses it, unpacked; empty if there is none of that name.
    std::string_view section(std::string_view name) const;

private:
    struct EndElf {
        void operator()(Elf* elf) const { elf_end(elf); }
    };
    struct EndDwarf {
        void operator()(Dwarf* dwarf) const { dwarf_end(dwarf); }
    };

    std::string open();
    std::uint64_t debugInfoSize() const;
    void hideSupplementaryLink() const;
    std::string_view sectionAt(std::size_t index) const;
    std::string checkStrings() const;

    ForeignFile m_file;
    ElfTables m_tables;
    // They close in the right order: DWARF, ELF, descriptor.
    std::unique_ptr<Elf, EndElf> m_elf;
    std::unique_ptr<Dwarf, EndDwarf> m_dwarf;
    std::string m_error;
};

} // namespace lokata::profile
