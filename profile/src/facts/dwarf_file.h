#pragma once

#include "facts/elf_tables.h"
#include "facts/foreign_file.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <elfutils/libdw.h>
#include <libelf.h>

namespace lokata::profile {

/// The sections of an ELF file, each read when it is asked for. The file is whole. For one thread
/// at a time.
class ElfSections {
public:
    explicit ElfSections(std::string const& path);

    /// Why there is nothing to read, a clause for a sentence; empty if there is.
    std::string const& error() const { return m_error; }
    ElfTables const& tables() const { return m_tables; }
    bool has(std::string_view name) const { return indexOf(name).has_value(); }
    /// The content of a section, unpacked; empty if there is none of that name, or if it is larger
    /// than any that is read. Lives as long as this object.
    std::string_view section(std::string_view name) const;
    /// Unpacked, in bytes; 0 if there is none of that name.
    std::uint64_t sizeOf(std::string_view name) const;
    /// Up to `size` bytes of a section from `offset` on, read alone unless it is packed.
    std::string part(std::string_view name, std::uint64_t offset, std::uint64_t size) const;

protected:
    /// Null only if there is an error. Lives as long as this object.
    Elf* elf() const { return m_elf.get(); }
    std::uint64_t unpackedSize(ElfSection const& section) const;
    std::string_view sectionAt(std::size_t index) const;

    std::string m_error;
    /// The sections that libelf holds unpacked. A second unpacking would free what is in use.
    mutable std::vector<bool> m_isUnpacked;

private:
    struct EndElf {
        void operator()(Elf* elf) const { elf_end(elf); }
    };

    std::string open();
    /// Of a section with content.
    std::optional<std::size_t> indexOf(std::string_view name) const;

    ForeignFile m_file;
    ElfTables m_tables;
    /// Ends before its descriptor.
    std::unique_ptr<Elf, EndElf> m_elf;
};

/// A file with its DWARF, opened such that libdw can be let loose on it. It reads all sections of
/// DWARF into memory, trusts that strings end within theirs, and opens files by the names that it
/// finds; so the file is whole, its string sections end, its debug information is of a bounded
/// size, and its link to a supplementary file is hidden. For one thread at a time.
class DwarfFile : public ElfSections {
public:
    /// libdw reads one of the two parts that a file may have, the other is then not there for it.
    enum class Part {
        whole, ///< What belongs to the file itself; the split part of a file that has no other.
        split, ///< The sections of names such as .debug_info.dwo.
    };

    explicit DwarfFile(std::string const& path, Part part = Part::whole);

    /// Null only if there is an error.
    Dwarf* dwarf() const { return m_dwarf.get(); }

private:
    struct EndDwarf {
        void operator()(Dwarf* dwarf) const { dwarf_end(dwarf); }
    };

    std::string open(Part part);
    std::uint64_t debugInfoSize() const;
    void hideSupplementaryLink() const;
    void hideUnsplitSections() const;
    std::string checkStrings() const;

    std::unique_ptr<Dwarf, EndDwarf> m_dwarf;
};

} // namespace lokata::profile
