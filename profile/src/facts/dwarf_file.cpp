#include "facts/dwarf_file.h"

#include "read/cursor.h"
#include "read/reasons.h"

#include <toolbelt2/text.h>

#include <algorithm>
#include <limits>

#include <gelf.h>

namespace lokata::profile {

namespace {

/// The largest debug information that is read, unpacked.
constexpr std::uint64_t c_maxDebugInfo = std::uint64_t{4} << 30;

using toolbelt2::ends_with;
using toolbelt2::starts_with;

/// The packed form of old of a section ".debug_x".
bool isPackedOfOld(std::string_view name) {
    return starts_with(name, ".zdebug_");
}

/// True for ".debug_x" and for ".zdebug_x", its packed form of old, given ".debug_x".
bool isNamed(std::string_view name, std::string_view wanted) {
    return name == wanted || (starts_with(name, ".z") && starts_with(wanted, ".") &&
                              name.substr(2) == wanted.substr(1));
}

} // namespace

ElfSections::ElfSections(std::string const& path) : m_file(path) {
    m_error = open();
}

std::string ElfSections::open() {
    if (!m_file.error().empty())
        return m_file.error();
    std::optional<ElfTables> tables = readElfTables(m_file);
    if (!tables)
        return reasonText(ReasonKey::not_elf);
    m_tables = std::move(*tables);
    if (std::string damage = damageOf(m_file, m_tables); !damage.empty())
        return damage;
    elf_version(EV_CURRENT);
    m_isUnpacked.resize(m_tables.sections.size());
    // Not mapped: another process may cut the file short at any moment.
    m_elf.reset(elf_begin(m_file.descriptor(), ELF_C_READ, nullptr));
    return m_elf ? "" : elf_errmsg(-1);
}

std::uint64_t ElfSections::unpackedSize(ElfSection const& section) const {
    std::string header;
    if ((section.flags & SHF_COMPRESSED) != 0 &&
        m_file.read(section.offset, m_tables.wide ? sizeof(Elf64_Chdr) : sizeof(Elf32_Chdr),
                    header)) {
        Cursor cursor(header, m_tables.big_endian);
        cursor.skip(m_tables.wide ? 8 : 4);
        return m_tables.wide ? cursor.u64() : cursor.u32();
    }
    if (isPackedOfOld(m_tables.nameOf(section)) && m_file.read(section.offset, 12, header)) {
        Cursor cursor(header, true);
        cursor.skip(4);
        return cursor.u64();
    }
    return section.size;
}

std::string_view ElfSections::sectionAt(std::size_t index) const {
    ElfSection const& header = m_tables.sections[index];
    Elf_Scn* const section = elf_getscn(m_elf.get(), index);
    if (section == nullptr || unpackedSize(header) > c_maxDebugInfo)
        return {};
    if (!m_isUnpacked[index]) {
        m_isUnpacked[index] = true;
        if ((header.flags & SHF_COMPRESSED) != 0)
            elf_compress(section, 0, 0);
        else if (isPackedOfOld(m_tables.nameOf(header)))
            elf_compress_gnu(section, 0, 0);
    }
    Elf_Data const* const data = elf_getdata(section, nullptr);
    if (data == nullptr || data->d_buf == nullptr)
        return {};
    return {static_cast<char const*>(data->d_buf), data->d_size};
}

std::optional<std::size_t> ElfSections::indexOf(std::string_view name) const {
    for (std::size_t i = 0; m_elf && i < m_tables.sections.size(); ++i) {
        ElfSection const& section = m_tables.sections[i];
        if (section.type != SHT_NOBITS && section.size != 0 &&
            isNamed(m_tables.nameOf(section), name))
            return i;
    }
    return std::nullopt;
}

std::string_view ElfSections::section(std::string_view name) const {
    auto const index = indexOf(name);
    return index ? sectionAt(*index) : std::string_view();
}

std::uint64_t ElfSections::sizeOf(std::string_view name) const {
    auto const index = indexOf(name);
    return index ? unpackedSize(m_tables.sections[*index]) : 0;
}

std::string ElfSections::part(std::string_view name, std::uint64_t offset,
                              std::uint64_t size) const {
    std::uint64_t const whole = sizeOf(name);
    if (offset >= whole)
        return {};
    size = std::min(size, whole - offset);
    ElfSection const& header = m_tables.sections[*indexOf(name)];
    std::string bytes;
    if ((header.flags & SHF_COMPRESSED) == 0 && !isPackedOfOld(m_tables.nameOf(header))) {
        m_file.read(header.offset + offset, size, bytes);
        return bytes;
    }
    std::string_view const content = section(name);
    return std::string(content.substr(std::min<std::uint64_t>(offset, content.size()), size));
}

DwarfFile::DwarfFile(std::string const& path, Part part) : ElfSections(path) {
    if (m_error.empty())
        m_error = open(part);
    if (!m_error.empty())
        m_dwarf.reset();
}

std::string DwarfFile::open(Part part) {
    if (std::uint64_t const size = debugInfoSize(); size > c_maxDebugInfo)
        return reasonText(ReasonKey::too_large, {std::to_string(size)});
    hideSupplementaryLink();
    if (part == Part::split)
        hideUnsplitSections();
    m_dwarf.reset(dwarf_begin_elf(elf(), DWARF_C_READ, nullptr));
    m_isUnpacked.assign(m_isUnpacked.size(), true);
    return m_dwarf ? checkStrings() : dwarf_errmsg(-1);
}

std::uint64_t DwarfFile::debugInfoSize() const {
    std::uint64_t sum = 0;
    for (ElfSection const& section : tables().sections) {
        std::string_view const name = tables().nameOf(section);
        if (section.type != SHT_NOBITS && (isPackedOfOld(name) || starts_with(name, ".debug_")))
            sum = endOf(sum, unpackedSize(section));
    }
    return sum;
}

void DwarfFile::hideSupplementaryLink() const {
    for (std::size_t i = 0; i < tables().sections.size(); ++i) {
        GElf_Shdr header{};
        Elf_Scn* const section = elf_getscn(elf(), i);
        if (tables().nameOf(tables().sections[i]) != ".gnu_debugaltlink" ||
            gelf_getshdr(section, &header) == nullptr)
            continue;
        header.sh_type = SHT_NOBITS;
        gelf_update_shdr(section, &header);
    }
}

/// libdw goes by the names of the sections, of whatever type, and prefers the part without .dwo.
void DwarfFile::hideUnsplitSections() const {
    for (std::size_t i = 0; i < tables().sections.size(); ++i) {
        std::string_view const name = tables().nameOf(tables().sections[i]);
        GElf_Shdr header{};
        Elf_Scn* const section = elf_getscn(elf(), i);
        if ((!starts_with(name, ".debug_") && !isPackedOfOld(name)) || ends_with(name, ".dwo") ||
            gelf_getshdr(section, &header) == nullptr)
            continue;
        header.sh_name = 0; // Of no section.
        gelf_update_shdr(section, &header);
    }
}

/// Those of the symbols and of the section names were looked at when the file was found whole.
std::string DwarfFile::checkStrings() const {
    for (std::size_t i = 0; i < tables().sections.size(); ++i) {
        ElfSection const& section = tables().sections[i];
        std::string_view const name = tables().nameOf(section);
        if (section.type == SHT_NOBITS ||
            (!isNamed(name, ".debug_str") && !isNamed(name, ".debug_line_str") &&
             !isNamed(name, ".debug_str.dwo")))
            continue;
        std::string_view const content = sectionAt(i);
        if (!content.empty() && content.back() != '\0')
            return reasonText(ReasonKey::elf_section_damaged, {std::to_string(i)});
    }
    return {};
}

} // namespace lokata::profile
