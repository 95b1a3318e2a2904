#pragma once

/// What an ELF file says of itself: the marks by which a binary, its symbol file and the
/// supplementary file that several symbol files share know each other.
///
/// All functions may be called from any thread. Files are foreign data: sizes in them are checked,
/// and a damaged file gives facts that say so, never an exception.

#include "facts/file_memo.h"
#include "facts/foreign_file.h"
#include "facts/symbol_tables.h"

#include <lokata/profile/build_id.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// The section .gnu_debuglink of a binary, as the chapter "Debugging Information in Separate Files"
/// of the manual of gdb describes it.
struct DebugLink {
    /// In bytes from the file: meant to be a bare name, not checked.
    std::string name;
    /// The CRC-32 of the whole symbol file.
    std::uint32_t crc = 0;
};

/// The section .gnu_debugaltlink, which names the supplementary file that dwz made.
struct AltLink {
    /// In bytes from the file: a path, absolute or relative to the file, not checked.
    std::string name;
    BuildId build_id;
};

/// What a file that is no ELF file may hold one in, by its content.
enum class Packing : std::uint8_t {
    none,
    whole_file,  ///< As a module of the kernel may lie on disk.
    kernel_image ///< By the header of a boot protocol.
};

struct ElfFacts {
    /// There is a stored file that can be opened, of whatever content.
    bool is_file = false;
    /// Why there is no ELF file to read; empty if there is. The other fields then say nothing.
    std::string error;
    Packing packing = Packing::none;
    /// Why the ELF file is not whole by its own tables, with where they end and where the file
    /// does; empty if it is. The other fields hold what can be read all the same, which proves
    /// nothing.
    std::string damage;
    BuildId build_id;
    std::optional<DebugLink> debug_link;
    std::optional<AltLink> alt_link;
    /// There is a .gnu_debugaltlink, but none that tells a name and a build-id.
    bool has_unusable_alt_link = false;
    /// DWARF or stabs with content; a section that was emptied does not count.
    bool has_debug_info = false;
    /// Why that debug information cannot be read; empty if nothing speaks against it.
    std::string debug_damage;
    /// Strings of DWARF, which a supplementary file may hold and nothing else.
    bool has_debug_strings = false;
    /// Debug information with all that a table of lines takes: units and their abbreviations, and
    /// the lines themselves; or stabs.
    bool has_lines = false;
    /// The debug information leaves nothing in other files. False where that was not looked at, as
    /// its declarations are packed or many.
    bool is_known_unsplit = false;
    /// A full symbol table (.symtab) with content.
    bool has_symbol_table = false;
    /// Not looked at where there are lines.
    SymbolTables symbol_tables;
    /// There is a section for names that are packed; see hasPackedNames().
    bool has_packed_table = false;
    /// A separate debug file: headers of what is loaded, but no content of the code, nor of
    /// anything where there is no code.
    bool lacks_code = false;
    /// Something that is loaded has content.
    bool has_contents = false;
    std::uint16_t machine = 0; ///< EM_...
};

/// Opens the file once, reads headers, notes and link sections.
ElfFacts readElfFacts(std::string const& path);

/// The same of an open file, without a look into its contents, which takes readings all over it: of
/// damage and of symbol tables nothing is told. Empty if the file does not begin as an ELF file
/// does.
std::optional<ElfFacts> readElfMarks(ForeignFile const& file);

/// The CRC-32 of a whole file, as .gnu_debuglink records it; empty if it cannot be read.
std::optional<std::uint32_t> fileCrc32(std::string const& path);

/// Remembers what it was asked of a file. It grows with the files asked about and never shrinks;
/// the one that searches share lives as long as their resolver.
class ElfFactsCache {
public:
    /// Never null.
    std::shared_ptr<ElfFacts const> facts(std::string const& path) {
        return facts(path, stampOf(path));
    }
    /// `stamp` is that of the file, as it was just now; empty if there is none.
    std::shared_ptr<ElfFacts const> facts(std::string const& path,
                                          std::optional<FileStamp> const& stamp);
    std::optional<std::uint32_t> crc32(std::string const& path);

private:
    FileMemo<std::shared_ptr<ElfFacts const>> m_facts;
    FileMemo<std::optional<std::uint32_t>> m_crcs;
};

} // namespace lokata::profile
