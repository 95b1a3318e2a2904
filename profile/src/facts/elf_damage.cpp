#include "facts/elf_tables.h"

#include "read/reasons.h"

#include <algorithm>
#include <iterator>
#include <map>

#include <elf.h>

namespace lokata::profile {

namespace {

bool isPowerOfTwoOrNone(std::uint64_t alignment) {
    return (alignment & (alignment - 1)) == 0;
}

class DamageFinder {
public:
    DamageFinder(ForeignFile const& file, ElfTables const& tables)
        : m_file(file), m_tables(tables) {}

    std::string find() {
        if (m_tables.damage.empty())
            checkSections();
        if (m_reason.empty() && m_tables.type == ET_REL)
            checkSignature();
        // A separate debug file keeps the program headers of its binary, but not what they load.
        if (m_reason.empty() && holdsContents())
            checkSegments();
        return m_tables.damage.empty() ? m_reason : m_tables.damage;
    }

private:
    void cut(ReasonKey key, std::size_t index, std::uint64_t offset, std::uint64_t size) {
        m_reason = reasonText(key, {std::to_string(index), std::to_string(endOf(offset, size)),
                                    std::to_string(m_file.size())});
    }

    void damaged(ReasonKey key, std::size_t index) {
        m_reason = reasonText(key, {std::to_string(index)});
    }

    /// True as well where no section tells.
    bool holdsContents() const { return m_tables.sections.empty() || m_tables.holdsContents(); }

    static bool isHeld(ElfSection const& section) {
        return section.type != SHT_NOBITS && section.type != SHT_NULL && section.size != 0;
    }

    void checkSections() {
        for (std::size_t i = 0; i < m_tables.sections.size() && m_reason.empty(); ++i) {
            ElfSection const& section = m_tables.sections[i];
            bool const isSound = i == 0 ? section.type == SHT_NULL : isHeader(section);
            if (isSound && isHeld(section) && !m_file.holds(section.offset, section.size))
                cut(ReasonKey::elf_section_cut, i, section.offset, section.size);
            else if (!isSound || (isHeld(section) && !isOfItsKind(section)))
                damaged(ReasonKey::elf_section_damaged, i);
        }
    }

    /// The signature of a kernel module follows its tables; scripts/sign-file.c of the kernel ends
    /// it with a line that tells it from other bytes.
    void checkSignature() {
        constexpr std::string_view c_last = "~Module signature appended~\n";
        constexpr std::string_view c_ofModules = ".modinfo";
        bool isModule = false;
        std::uint64_t end = m_tables.end;
        for (ElfSection const& section : m_tables.sections) {
            isModule = isModule || m_tables.nameOf(section) == c_ofModules;
            if (isHeld(section))
                end = std::max(end, section.offset + section.size);
        }
        if (!isModule || end >= m_file.size())
            return;
        std::string last;
        std::uint64_t const size = std::min<std::uint64_t>(c_last.size(), m_file.size());
        if (!m_file.read(m_file.size() - size, size, last) || last != c_last)
            m_reason = reasonText(ReasonKey::module_signature_cut,
                                  {std::to_string(end), std::to_string(m_file.size())});
    }

    /// The format allows empty headers among others, but no tool is known to leave any; zeros over
    /// the table do.
    bool isHeader(ElfSection const& section) const {
        return section.type != SHT_NULL && isPowerOfTwoOrNone(section.alignment) &&
               section.link < m_tables.sections.size() &&
               (m_tables.names.empty() || section.name == 0 || !m_tables.nameOf(section).empty());
    }

    bool isOfItsKind(ElfSection const& section) const {
        if (section.type == SHT_STRTAB)
            return isStringTable(section);
        if (section.type == SHT_SYMTAB || section.type == SHT_DYNSYM)
            return areSymbols(m_file, m_tables, section);
        if (section.type == SHT_DYNAMIC)
            return isDynamicTable(m_file, m_tables, section.offset, section.size,
                                  &m_tables.sections[section.link]);
        return section.entry_size <= section.size;
    }

    /// It begins with one empty string and ends with a null byte.
    bool isStringTable(ElfSection const& section) const {
        std::string start;
        std::string end;
        return section.entry_size <= section.size &&
               m_file.read(section.offset, std::min<std::uint64_t>(section.size, 2), start) &&
               m_file.read(section.offset + section.size - 1, 1, end) && start[0] == '\0' &&
               (section.size == 1 || start[1] != '\0') && end[0] == '\0';
    }

    void checkSegments() {
        bool loads = false;
        for (std::size_t i = 0; i < m_tables.segments.size() && m_reason.empty(); ++i) {
            ElfSegment const& segment = m_tables.segments[i];
            bool const hasContent = segment.type != PT_NULL && segment.file_size != 0;
            if (hasContent && !m_file.holds(segment.offset, segment.file_size))
                cut(ReasonKey::elf_segment_cut, i, segment.offset, segment.file_size);
            else if ((segment.type == PT_LOAD && !canBeLoaded(segment)) ||
                     (segment.type == PT_DYNAMIC && segment.file_size != 0 &&
                      !isDynamicTable(m_file, m_tables, segment.offset, segment.file_size,
                                      nullptr)))
                damaged(ReasonKey::elf_segment_damaged, i);
            loads = loads || segment.type == PT_LOAD;
        }
        bool const isProgram = m_tables.type == ET_EXEC || m_tables.type == ET_DYN;
        bool const isBare = m_tables.sections.empty();
        if (isProgram && m_reason.empty() &&
            (isBare ? !loads && !m_tables.segments.empty() : !areContentsLoaded()))
            m_reason = reasonText(ReasonKey::elf_header_damaged);
    }

    static bool canBeLoaded(ElfSegment const& segment) {
        return segment.file_size <= segment.memory_size && isPowerOfTwoOrNone(segment.alignment) &&
               (segment.alignment == 0 ||
                (segment.address - segment.offset) % segment.alignment == 0);
    }

    /// Of a linked file no loaded section lies beside the segments.
    bool areContentsLoaded() const {
        std::map<std::uint64_t, std::uint64_t> ends; // By their starts.
        for (ElfSegment const& segment : m_tables.segments)
            if (segment.type == PT_LOAD) {
                std::uint64_t& end = ends[segment.offset];
                end = std::max(end, endOf(segment.offset, segment.file_size));
            }
        auto const isLoaded = [&](ElfSection const& section) {
            auto const behind = ends.upper_bound(section.offset);
            return behind != ends.begin() &&
                   endOf(section.offset, section.size) <= std::prev(behind)->second;
        };
        return std::all_of(m_tables.sections.begin(), m_tables.sections.end(),
                           [&](ElfSection const& section) {
                               return (section.flags & SHF_ALLOC) == 0 || !isHeld(section) ||
                                      section.type == SHT_NOTE || isLoaded(section);
                           });
    }

    ForeignFile const& m_file;
    ElfTables const& m_tables;
    std::string m_reason;
};

} // namespace

std::string damageOf(ForeignFile const& file, ElfTables const& tables) {
    return DamageFinder(file, tables).find();
}

} // namespace lokata::profile
