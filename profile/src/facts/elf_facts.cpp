#include "facts/elf_facts.h"

#include "facts/debug_content.h"
#include "facts/elf_tables.h"
#include "read/cursor.h"
#include "read/notes.h"
#include "read/reasons.h"

#include <unpack/kernel_payload.h>
#include <unpack/packed_file.h>

#include <algorithm>
#include <array>
#include <string_view>

#include <elf.h>
#include <zlib.h>

namespace lokata::profile {

namespace {

/// A link section that is longer is not read; of notes, only so much is.
constexpr std::uint64_t c_maxSection = 1U << 20;
/// Notes that a file may have read in all.
constexpr std::uint64_t c_maxNotes = 16U << 20;
constexpr std::uint64_t c_crcBlock = 1U << 18;

class FactsReader {
public:
    FactsReader(ForeignFile const& file, ElfTables const& tables, ElfFacts& facts)
        : m_file(file), m_tables(tables), m_facts(facts) {}

    void lookIntoContents() {
        m_facts.damage = damageOf(m_file, m_tables);
        if (!m_facts.has_lines && m_facts.damage.empty())
            m_facts.symbol_tables = readSymbolTables(m_file, m_tables);
        if (m_facts.has_debug_info)
            m_facts.debug_damage = debugDamageOf(m_file, m_tables);
    }

    void read() {
        m_facts.machine = m_tables.machine;
        for (ElfSection const& section : m_tables.sections)
            readSection(section);
        m_facts.is_known_unsplit = m_hasAbbreviations && !m_mayBeSplit;
        m_facts.has_contents = m_tables.holdsContents();
        // On some machines a linkage table of a whole file is empty, too.
        m_facts.lacks_code =
            (m_isCodeEmptied && !m_hasCode) || (m_isEmptied && !m_facts.has_contents);
        // Files without section headers keep their notes reachable through the program headers.
        for (ElfSegment const& segment : m_tables.segments)
            if (segment.type == PT_NOTE)
                readNotes(segment.offset, segment.file_size, segment.alignment);
    }

private:
    void readSection(ElfSection const& section) {
        std::string_view const name = m_tables.nameOf(section);
        if ((section.flags & SHF_EXECINSTR) != 0)
            (section.type == SHT_NOBITS ? m_isCodeEmptied : m_hasCode) = true;
        // What is writable may have been nothing but zeros before.
        if ((section.flags & (SHF_ALLOC | SHF_WRITE)) == SHF_ALLOC && section.type == SHT_NOBITS)
            m_isEmptied = true;
        if (section.type == SHT_NOBITS)
            return;
        if (name == ".gnu_debugaltlink")
            return readAltLink(content(section));
        if (section.size == 0)
            return;
        noteLines(section, name);
        if (section.type == SHT_NOTE)
            readNotes(section.offset, section.size, section.alignment);
        else if (section.type == SHT_SYMTAB)
            m_facts.has_symbol_table = true;
        else if (name == ".gnu_debuglink")
            readDebugLink(content(section));
        else if (isDebugInfo(name))
            m_facts.has_debug_info = true;
        else if (name == c_packedNames)
            m_facts.has_packed_table = true;
        else if (name == ".debug_str" || name == ".zdebug_str")
            m_facts.has_debug_strings = true;
    }

    void noteLines(ElfSection const& section, std::string_view name) {
        m_hasUnits = m_hasUnits || name == ".debug_info" || name == ".zdebug_info";
        if (name == ".debug_abbrev" || name == ".zdebug_abbrev") {
            m_hasAbbreviations = true;
            m_mayBeSplit = m_mayBeSplit || isPacked(section, name) || hasSkeletonsOrMany(section);
        }
        m_hasLineTables = m_hasLineTables || name == ".debug_line" || name == ".zdebug_line";
        m_facts.has_lines = m_facts.has_lines || name == ".stab" ||
                            (m_hasUnits && m_hasAbbreviations && m_hasLineTables);
    }

    static bool isPacked(ElfSection const& section, std::string_view name) {
        return (section.flags & SHF_COMPRESSED) != 0 || name == ".zdebug_abbrev";
    }

    bool hasSkeletonsOrMany(ElfSection const& section) const {
        std::string const abbreviations = content(section);
        return abbreviations.empty() || hasSkeletons(abbreviations);
    }

    static bool isDebugInfo(std::string_view name) {
        for (std::string_view const known :
             {".debug_info", ".debug_types", ".debug_line", ".zdebug_info", ".zdebug_types",
              ".zdebug_line", ".stab"})
            if (name == known)
                return true;
        return false;
    }

    /// Empty for a section that is too large or that the file does not hold.
    std::string content(ElfSection const& section) const {
        std::string bytes;
        if (section.size > c_maxSection || !m_file.read(section.offset, section.size, bytes))
            bytes.clear();
        return bytes;
    }

    void readNotes(std::uint64_t offset, std::uint64_t size, std::uint64_t alignment) {
        size = std::min(size, c_maxSection);
        if (!m_facts.build_id.empty() || size > c_maxNotes - m_notesRead)
            return;
        m_notesRead += size;
        std::string bytes;
        if (m_file.read(offset, size, bytes))
            m_facts.build_id = buildIdOf(buildIdInNotes(bytes, m_tables.big_endian, alignment));
    }

    /// A name, null bytes up to a multiple of four, the checksum.
    void readDebugLink(std::string const& bytes) {
        Cursor cursor(bytes, m_tables.big_endian);
        std::string const name(cursor.text());
        cursor.skip((4 - cursor.offset() % 4) % 4);
        std::uint32_t const crc = cursor.u32();
        if (cursor.ok() && !name.empty())
            m_facts.debug_link = DebugLink{name, crc};
    }

    /// A name with its null byte, the build-id up to the end.
    void readAltLink(std::string const& bytes) {
        Cursor cursor(bytes, m_tables.big_endian);
        std::string const name(cursor.text());
        BuildId const buildId = buildIdOf(cursor.rest());
        if (!name.empty() && !buildId.empty())
            m_facts.alt_link = AltLink{name, buildId};
        m_facts.has_unusable_alt_link = !m_facts.alt_link;
    }

    ForeignFile const& m_file;
    ElfTables const& m_tables;
    ElfFacts& m_facts;
    bool m_hasCode = false;
    bool m_isCodeEmptied = false;
    bool m_hasUnits = false;
    bool m_hasAbbreviations = false;
    bool m_mayBeSplit = false;
    bool m_hasLineTables = false;
    bool m_isEmptied = false;
    std::uint64_t m_notesRead = 0;
};

/// Kernels and their modules often lie packed on disk.
void describeOther(ForeignFile const& file, ElfFacts& facts) {
    std::string start;
    file.read(0, std::min(file.size(), unpack::c_kernelHeader), start);
    facts.error = reasonText(ReasonKey::not_elf);
    if (auto const packing = unpack::packingOf(start)) {
        facts.packing = Packing::whole_file;
        facts.error = reasonText(ReasonKey::packed, {unpack::compressionName(*packing)});
    } else if (unpack::isKernelImage(start)) {
        facts.packing = Packing::kernel_image;
    }
}

/// The checksum after so many zeros more, by doubling: a sparse file may have any number of them.
uLong crcWithZeros(uLong crc, std::uint64_t count) {
    std::array<Bytef, 1> const zero{};
    uLong ofZeros = ::crc32(0, zero.data(), zero.size());
    for (std::uint64_t length = 1; count != 0; length *= 2, count /= 2) {
        if (count % 2 != 0)
            crc = ::crc32_combine(crc, ofZeros, static_cast<z_off_t>(length));
        ofZeros = ::crc32_combine(ofZeros, ofZeros, static_cast<z_off_t>(length));
    }
    return crc;
}

} // namespace

ElfFacts readElfFacts(std::string const& path) {
    ElfFacts facts;
    ForeignFile const file(path);
    facts.error = file.error();
    facts.is_file = facts.error.empty();
    if (!facts.is_file)
        return facts;
    if (std::optional<ElfTables> const tables = readElfTables(file)) {
        FactsReader reader(file, *tables, facts);
        reader.read();
        reader.lookIntoContents();
    } else {
        describeOther(file, facts);
    }
    return facts;
}

std::optional<ElfFacts> readElfMarks(ForeignFile const& file) {
    std::optional<ElfTables> const tables = readElfTables(file);
    if (!tables)
        return std::nullopt;
    ElfFacts facts;
    facts.is_file = true;
    FactsReader(file, *tables, facts).read();
    return facts;
}

std::optional<std::uint32_t> fileCrc32(std::string const& path) {
    ForeignFile const file(path);
    if (!file.error().empty())
        return std::nullopt;
    uLong crc = ::crc32(0, nullptr, 0);
    std::string block;
    for (std::uint64_t at = 0; at < file.size(); at += block.size()) {
        std::uint64_t const stored = file.nextStored(at);
        crc = crcWithZeros(crc, stored - at);
        at = stored;
        if (!file.read(at, std::min(file.size() - at, c_crcBlock), block))
            return std::nullopt;
        crc = ::crc32(crc, reinterpret_cast<Bytef const*>(block.data()),
                      static_cast<uInt>(block.size()));
    }
    return static_cast<std::uint32_t>(crc);
}

std::shared_ptr<ElfFacts const> ElfFactsCache::facts(std::string const& path,
                                                     std::optional<FileStamp> const& stamp) {
    return m_facts.get(
        path, stamp,
        [](std::string const& each) {
            return std::make_shared<ElfFacts const>(readElfFacts(each));
        });
}

std::optional<std::uint32_t> ElfFactsCache::crc32(std::string const& path) {
    return m_crcs.get(path, fileCrc32);
}

} // namespace lokata::profile
