#include "facts/elf_tables.h"

#include "read/cursor.h"

#include <algorithm>

#include <elf.h>

namespace lokata::profile {

namespace {

/// As much of a table is looked at, at either end.
constexpr std::uint64_t c_window = 8192;
/// The tables of the dynamic linker of the largest programs have some hundred entries.
constexpr std::uint64_t c_maxDynamic = 1U << 16;

/// The two ends of a table of strings.
class NameEnds {
public:
    NameEnds(ForeignFile const& file, ElfSection const& names) : m_size(names.size) {
        std::uint64_t const size = std::min(m_size, c_window);
        m_lastAt = m_size - size;
        m_isRead = file.read(names.offset, size, m_first) &&
                   file.read(names.offset + m_lastAt, size, m_last);
    }

    /// False if there is no name at that place. True between the two ends, which was not read.
    bool isName(std::uint64_t at) const {
        if (!m_isRead || at >= m_size)
            return false;
        if (at < m_first.size())
            return m_first[at] != '\0';
        return at < m_lastAt || m_last[at - m_lastAt] != '\0';
    }

private:
    std::uint64_t m_size;
    std::uint64_t m_lastAt = 0;
    std::string m_first;
    std::string m_last;
    bool m_isRead = false;
};

bool isZero(std::string_view bytes) {
    return bytes.find_first_not_of('\0') == std::string_view::npos;
}

/// None of them is empty, and the names of those that have one are there.
bool areAllSymbols(std::string_view symbols, std::size_t one, bool bigEndian,
                   std::optional<NameEnds> const& names) {
    for (; symbols.size() >= one; symbols.remove_prefix(one)) {
        std::uint32_t const name = Cursor(symbols, bigEndian).u32();
        if (isZero(symbols.substr(0, one)) || (names && name != 0 && !names->isName(name)))
            return false;
    }
    return true;
}

bool hasDynamicSymbols(ElfTables const& tables) {
    return std::any_of(
        tables.sections.begin(), tables.sections.end(),
        [](ElfSection const& section) {
            return section.type == SHT_DYNSYM && section.size > section.entry_size;
        });
}

} // namespace

bool areSymbols(ForeignFile const& file, ElfTables const& tables, ElfSection const& symbols) {
    std::uint64_t const one = tables.wide ? sizeof(Elf64_Sym) : sizeof(Elf32_Sym);
    ElfSection const& names = tables.sections[symbols.link];
    bool const isNamed = symbols.link != 0;
    if (symbols.entry_size != one || symbols.size % one != 0 ||
        (isNamed && (names.type != SHT_STRTAB || names.size == 0)))
        return false;
    std::uint64_t const some = std::min(symbols.size, c_window / one * one);
    std::string first;
    std::string last;
    if (!file.read(symbols.offset, some, first) ||
        !file.read(symbols.offset + symbols.size - some, some, last))
        return false;
    std::optional<NameEnds> ends;
    if (isNamed)
        ends.emplace(file, names);
    std::string_view const behindNone = std::string_view(first).substr(one);
    std::string_view const atEnd =
        some == symbols.size ? std::string_view() : std::string_view(last);
    return symbols.size == one || (isZero(std::string_view(first).substr(0, one)) &&
                                   areAllSymbols(behindNone, one, tables.big_endian, ends) &&
                                   areAllSymbols(atEnd, one, tables.big_endian, ends));
}

bool isDynamicTable(ForeignFile const& file, ElfTables const& tables, std::uint64_t offset,
                    std::uint64_t size, ElfSection const* names) {
    std::string content;
    if (!file.read(offset, std::min(size, c_maxDynamic), content))
        return false;
    std::optional<NameEnds> strings;
    if (names != nullptr && names->type == SHT_STRTAB)
        strings.emplace(file, *names);
    constexpr std::uint64_t c_needed[]{DT_STRTAB, DT_SYMTAB, DT_STRSZ, DT_SYMENT};
    std::size_t neededHeld = 0;
    Cursor cursor(content, tables.big_endian);
    auto const word = [&] { return tables.wide ? cursor.u64() : cursor.u32(); };
    std::uint64_t tag = word();
    bool const isEmpty = tag == DT_NULL;
    for (; cursor.ok() && tag != DT_NULL; tag = word()) {
        std::uint64_t const value = word();
        neededHeld += std::count(std::begin(c_needed), std::end(c_needed), tag);
        if ((tag == DT_NEEDED || tag == DT_SONAME) && strings && !strings->isName(value))
            return false;
    }
    bool const isEnded = cursor.ok() || size > c_maxDynamic;
    return isEnded && !isEmpty && (neededHeld >= std::size(c_needed) || !hasDynamicSymbols(tables));
}

} // namespace lokata::profile
