#include "facts/elf_tables.h"

#include "read/cursor.h"
#include "read/reasons.h"

#include <algorithm>
#include <initializer_list>
#include <limits>

#include <elf.h>

namespace lokata::profile {

namespace {

/// Sections or segments; the largest objects of compilers have a quarter of that.
constexpr std::uint64_t c_maxEntries = 1U << 18;
constexpr std::uint64_t c_maxNames = 64U << 20;

class TablesReader {
public:
    explicit TablesReader(ForeignFile const& file) : m_file(file) {}

    ElfTables read() {
        readHeader();
        if (m_tables.damage.empty()) {
            readSections();
            readSegments();
        }
        return std::move(m_tables);
    }

private:
    void fail(ReasonKey key, std::initializer_list<std::string_view> arguments = {}) {
        if (m_tables.damage.empty())
            m_tables.damage = reasonText(key, arguments);
    }

    std::uint64_t word(Cursor& cursor) const { return m_tables.wide ? cursor.u64() : cursor.u32(); }

    /// Empty where the file does not hold all of that range.
    std::string content(std::uint64_t offset, std::uint64_t size) {
        std::string bytes;
        if (m_file.read(offset, size, bytes)) {
            m_tables.end = std::max(m_tables.end, offset + size);
            return bytes;
        }
        if (m_file.holds(offset, size))
            fail(ReasonKey::elf_changed);
        else
            fail(ReasonKey::elf_tables_cut,
                 {std::to_string(endOf(offset, size)), std::to_string(m_file.size())});
        return {};
    }

    void readHeader() {
        std::string const identity = content(0, EI_NIDENT);
        if (identity.empty())
            return;
        auto const elfClass = static_cast<unsigned char>(identity[EI_CLASS]);
        auto const order = static_cast<unsigned char>(identity[EI_DATA]);
        if ((elfClass != ELFCLASS32 && elfClass != ELFCLASS64) ||
            (order != ELFDATA2LSB && order != ELFDATA2MSB))
            return fail(ReasonKey::elf_header_damaged);
        m_tables.wide = elfClass == ELFCLASS64;
        m_tables.big_endian = order == ELFDATA2MSB;
        std::uint64_t const size = m_tables.wide ? sizeof(Elf64_Ehdr) : sizeof(Elf32_Ehdr);
        std::string const bytes = content(0, size);
        Cursor cursor(bytes, m_tables.big_endian);
        cursor.skip(EI_NIDENT);
        m_tables.type = cursor.u16();
        m_tables.machine = cursor.u16();
        std::uint32_t const version = cursor.u32();
        word(cursor); // the entry point
        m_segmentsAt = word(cursor);
        m_sectionsAt = word(cursor);
        cursor.skip(4); // flags
        std::uint16_t const ownSize = cursor.u16();
        m_segmentSize = cursor.u16();
        m_segmentCount = cursor.u16();
        m_sectionSize = cursor.u16();
        m_sectionCount = cursor.u16();
        m_namesIndex = cursor.u16();
        bool const isOfAKind = m_tables.type != ET_NONE && m_tables.machine != EM_NONE;
        if (cursor.ok() && (version != EV_CURRENT || ownSize != size || !isOfAKind))
            fail(ReasonKey::elf_header_damaged);
    }

    ElfSection section(Cursor& cursor) const {
        ElfSection result;
        result.name = cursor.u32();
        result.type = cursor.u32();
        result.flags = word(cursor);
        word(cursor); // the address
        result.offset = word(cursor);
        result.size = word(cursor);
        result.link = cursor.u32();
        result.info = cursor.u32();
        result.alignment = word(cursor);
        result.entry_size = word(cursor);
        return result;
    }

    void readSections() {
        if (m_sectionsAt == 0) {
            if (m_sectionCount != 0 || m_namesIndex != SHN_UNDEF || m_segmentCount == PN_XNUM)
                fail(ReasonKey::elf_header_damaged);
            return;
        }
        std::uint64_t const size = m_tables.wide ? sizeof(Elf64_Shdr) : sizeof(Elf32_Shdr);
        if (m_sectionSize != size)
            return fail(ReasonKey::elf_header_damaged);
        bool const isExtended =
            m_sectionCount == 0 || m_namesIndex == SHN_XINDEX || m_segmentCount == PN_XNUM;
        if (isExtended && !readExtendedCounts())
            return;
        if (m_sectionCount == 0 || m_sectionCount > c_maxEntries)
            return fail(ReasonKey::elf_header_damaged);
        std::string const bytes = content(m_sectionsAt, m_sectionCount * size);
        for (Cursor cursor(bytes, m_tables.big_endian); cursor.remaining() > 0;)
            m_tables.sections.push_back(section(cursor));
        if (m_tables.damage.empty())
            readNames();
    }

    /// Counts that do not fit into the ELF header stand in the first section header.
    bool readExtendedCounts() {
        std::string const bytes = content(m_sectionsAt, m_sectionSize);
        Cursor cursor(bytes, m_tables.big_endian);
        ElfSection const first = section(cursor);
        if (m_sectionCount == 0)
            m_sectionCount = first.size;
        if (m_namesIndex == SHN_XINDEX)
            m_namesIndex = first.link;
        if (m_segmentCount == PN_XNUM)
            m_segmentCount = first.info;
        return cursor.ok();
    }

    void readNames() {
        if (m_namesIndex == SHN_UNDEF)
            return;
        if (m_namesIndex >= m_tables.sections.size())
            return fail(ReasonKey::elf_header_damaged);
        ElfSection const& names = m_tables.sections[m_namesIndex];
        if (names.type != SHT_STRTAB || names.size == 0 || names.size > c_maxNames)
            return fail(ReasonKey::elf_section_damaged, {std::to_string(m_namesIndex)});
        m_tables.names = content(names.offset, names.size);
    }

    ElfSegment segment(Cursor& cursor) const {
        ElfSegment result;
        result.type = cursor.u32();
        if (m_tables.wide)
            cursor.skip(4); // flags
        result.offset = word(cursor);
        result.address = word(cursor);
        word(cursor); // the physical address
        result.file_size = word(cursor);
        result.memory_size = word(cursor);
        if (!m_tables.wide)
            cursor.skip(4); // flags
        result.alignment = word(cursor);
        return result;
    }

    void readSegments() {
        if (m_segmentCount == 0)
            return;
        std::uint64_t const size = m_tables.wide ? sizeof(Elf64_Phdr) : sizeof(Elf32_Phdr);
        if (m_segmentSize != size || m_segmentsAt == 0)
            return fail(ReasonKey::elf_header_damaged);
        if (m_segmentCount > c_maxEntries)
            return fail(ReasonKey::elf_header_damaged);
        std::string const bytes = content(m_segmentsAt, m_segmentCount * size);
        for (Cursor cursor(bytes, m_tables.big_endian); cursor.remaining() > 0;)
            m_tables.segments.push_back(segment(cursor));
    }

    ForeignFile const& m_file;
    ElfTables m_tables;
    std::uint64_t m_segmentsAt = 0;
    std::uint64_t m_segmentCount = 0;
    std::uint16_t m_segmentSize = 0;
    std::uint64_t m_sectionsAt = 0;
    std::uint64_t m_sectionCount = 0;
    std::uint16_t m_sectionSize = 0;
    std::uint32_t m_namesIndex = 0;
};

} // namespace

std::uint64_t endOf(std::uint64_t offset, std::uint64_t size) {
    return offset + size < offset ? std::numeric_limits<std::uint64_t>::max() : offset + size;
}

std::string_view ElfTables::nameOf(ElfSection const& section) const {
    if (section.name >= names.size())
        return {};
    std::string_view const rest = std::string_view(names).substr(section.name);
    return rest.substr(0, rest.find('\0'));
}

bool ElfTables::holdsContents() const {
    return std::any_of(
        sections.begin(), sections.end(),
        [](ElfSection const& section) {
            return (section.flags & SHF_ALLOC) != 0 && section.size != 0 &&
                   section.type != SHT_NOBITS && section.type != SHT_NOTE;
        });
}

std::optional<ElfTables> readElfTables(ForeignFile const& file) {
    std::string magic;
    if (!file.read(0, SELFMAG, magic) || magic != ELFMAG)
        return std::nullopt;
    return TablesReader(file).read();
}

} // namespace lokata::profile
