#pragma once

#include <lokata/profile/export.h>

#include "facts/elf_facts.h"
#include "support/bytes.h"

#include <fstream>
#include <string>

#include <elf.h>

namespace lokata::profile::test {

/// An ELF note of any class.
inline std::string elfNote(Bytes out, std::uint32_t type, std::string_view owner,
                           std::string_view content) {
    out.u32(owner.size() + 1).u32(content.size()).u32(type);
    return out.text(owner, 4).raw(content).pad(4).content();
}

/// An ELF header with `segments` program headers right behind it.
inline Bytes elfHeader(bool wide, bool bigEndian, std::uint16_t type, std::size_t segments,
                       std::size_t sectionsAt = 0, std::size_t sections = 0) {
    Bytes out(bigEndian);
    unsigned const word = wide ? 8 : 4;
    out.raw("\177ELF").u8(wide ? ELFCLASS64 : ELFCLASS32);
    out.u8(bigEndian ? ELFDATA2MSB : ELFDATA2LSB).u8(EV_CURRENT).padTo(16);
    out.u16(type).u16(EM_X86_64).u32(EV_CURRENT).integer(0, word);
    out.integer(segments == 0 ? 0 : wide ? 64 : 52, word).integer(sectionsAt, word).u32(0);
    out.u16(wide ? 64 : 52).u16(wide ? 56 : 32).u16(segments);
    return out.u16(wide ? 64 : 40).u16(sections).u16(sections == 0 ? 0 : sections - 1);
}

/// `memory`: the size in memory, at `address`.
inline void programHeader(Bytes& out, bool wide, std::uint32_t type, std::uint32_t flags,
                          std::uint64_t offset, std::uint64_t address, std::uint64_t size,
                          std::uint64_t memory) {
    unsigned const word = wide ? 8 : 4;
    out.u32(type);
    if (wide)
        out.u32(flags);
    out.integer(offset, word).integer(address, word).integer(0, word);
    out.integer(size, word).integer(memory, word);
    if (!wide)
        out.u32(flags);
    out.integer(4, word);
}

/// Writes small 64-bit ELF files section by section.
class ElfBuilder {
public:
    explicit ElfBuilder(bool bigEndian = false, std::uint16_t type = ET_DYN)
        : m_bigEndian(bigEndian), m_type(type), m_headers(bigEndian) {
        section("", "", SHT_NULL);
    }

    ElfBuilder& section(std::string_view name, std::string_view content,
                        std::uint32_t type = SHT_PROGBITS, std::uint64_t flags = 0) {
        m_headers.u32(m_names.size()).u32(type).u64(flags).u64(0).u64(64 + m_content.size());
        m_headers.u64(content.size())
            .u64(0)
            .u64(4)
            .u64(type == SHT_SYMTAB || type == SHT_DYNSYM ? 24 : 0);
        m_names.text(name);
        m_content.raw(content).pad(8);
        return *this;
    }
    ElfBuilder& buildId(BuildId const& id) {
        auto const content = std::string(id.begin(), id.end());
        return section(".note.gnu.build-id",
                       elfNote(Bytes(m_bigEndian), NT_GNU_BUILD_ID, "GNU", content), SHT_NOTE);
    }
    ElfBuilder& debugLink(std::string_view name, std::uint32_t crc) {
        return section(".gnu_debuglink", Bytes(m_bigEndian).text(name, 4).u32(crc).content());
    }
    ElfBuilder& altLink(std::string const& name, BuildId const& id) {
        return section(".gnu_debugaltlink", name + '\0' + std::string(id.begin(), id.end()));
    }
    /// One unit that says nothing, and a table of lines that nothing refers to.
    ElfBuilder& debugInfo() {
        Bytes lines(m_bigEndian);
        lines.u32(14).u16(4).u32(8).u8(1).u8(1).u8(1).u8(0).u8(1).u8(1).u8(0).u8(0);
        return debugInfoWithoutLines().section(".debug_line", lines.content());
    }
    ElfBuilder& debugInfoWithoutLines() {
        Bytes unit(m_bigEndian);
        unit.u32(8).u16(4).u32(0).u8(8).u8(0);
        return section(".debug_info", unit.content())
            .section(".debug_abbrev", std::string("\1\x11\0\0\0\0", 6));
    }
    /// What is left of the code in a separate debug file.
    ElfBuilder& emptiedCode() {
        return section(".text", "code", SHT_NOBITS, SHF_ALLOC | SHF_EXECINSTR);
    }
    /// That defines one function, behind so many symbols of another kind.
    ElfBuilder& symbolTable(std::size_t others = 1) {
        return symbols(SHT_SYMTAB, STT_FUNC, 1, others);
    }
    /// A table that ends with a symbol of that type, defined in that section.
    ElfBuilder& symbols(std::uint32_t table, std::uint8_t type, std::uint16_t definedIn,
                        std::size_t others = 1) {
        Bytes content(m_bigEndian);
        content.raw(std::string(24, '\0'));
        for (; others > 1; --others)
            content.u32(0).u32(SHN_ABS << 16U).u64(0).u64(0);
        content.u32(0).u8(ELF64_ST_INFO(STB_GLOBAL, type)).u8(0).u16(definedIn).u64(0).u64(0);
        return section(table == SHT_SYMTAB ? ".symtab" : ".dynsym", content.content(), table);
    }

    /// Gives the path back.
    std::string write(std::string const& path) const {
        ElfBuilder whole = *this;
        whole.section(".shstrtab", m_names.content() + ".shstrtab" + '\0', SHT_STRTAB);
        auto const headersAt = 64 + whole.m_content.size();
        auto const count = whole.m_headers.size() / 64;
        std::ofstream(path, std::ios::binary)
            << elfHeader(true, m_bigEndian, m_type, 0, headersAt, count).content()
            << whole.m_content.content() << whole.m_headers.content();
        return path;
    }

private:
    bool m_bigEndian;
    std::uint16_t m_type;
    Bytes m_names;
    Bytes m_content;
    Bytes m_headers;
};

} // namespace lokata::profile::test
