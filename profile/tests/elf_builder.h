#pragma once

#include "profile/elf_facts.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <gelf.h>
#include <unistd.h>

namespace lokata::profile::test {

/// Writes small ELF files section by section through libelf.
class ElfBuilder {
public:
    explicit ElfBuilder(unsigned char order = ELFDATA2LSB, GElf_Half type = ET_DYN)
        : m_order(order), m_type(type) {}

    ElfBuilder& section(std::string name, std::string content, GElf_Word type = SHT_PROGBITS,
                        GElf_Xword flags = 0) {
        m_sections.push_back({std::move(name), std::move(content), type, flags});
        return *this;
    }

    ElfBuilder& buildId(BuildId const& id) {
        return section(".note.gnu.build-id", note(id), SHT_NOTE);
    }

    ElfBuilder& debugLink(std::string name, std::uint32_t crc) {
        name.append(4 - name.size() % 4, '\0');
        return section(".gnu_debuglink", name + word(crc));
    }

    ElfBuilder& altLink(std::string const& name, BuildId const& id) {
        return section(".gnu_debugaltlink", name + '\0' + std::string(id.begin(), id.end()));
    }

    /// Content enough to count as debug information; not to be read as DWARF.
    ElfBuilder& debugInfo() { return section(".debug_info", "debug information"); }

    /// What is left of the code in a separate debug file.
    ElfBuilder& emptiedCode() {
        return section(".text", "code", SHT_NOBITS, SHF_ALLOC | SHF_EXECINSTR);
    }

    ElfBuilder& symbolTable() { return section(".symtab", std::string(24, '\0'), SHT_SYMTAB); }

    std::string const& write(std::string const& path) {
        int const fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0755);
        elf_version(EV_CURRENT);
        Elf* const elf = elf_begin(fd, ELF_C_WRITE, nullptr);
        gelf_newehdr(elf, ELFCLASS64);
        std::string names(1, '\0');
        for (Section& each : m_sections)
            add(elf, each, names);
        Section strings{".shstrtab", "", SHT_STRTAB, 0};
        std::size_t const place = names.size();
        names += strings.name + '\0';
        strings.content = names;
        std::size_t const index = fill(elf, strings, place);

        GElf_Ehdr header{};
        gelf_getehdr(elf, &header);
        header.e_ident[EI_DATA] = m_order;
        header.e_type = m_type;
        header.e_machine = EM_X86_64;
        header.e_version = EV_CURRENT;
        header.e_shstrndx = static_cast<GElf_Half>(index);
        gelf_update_ehdr(elf, &header);
        if (elf_update(elf, ELF_C_WRITE) < 0)
            throw std::runtime_error(elf_errmsg(-1));
        elf_end(elf);
        ::close(fd);
        m_path = path;
        return m_path;
    }

    std::string word(std::uint32_t value) const {
        std::string bytes(4, '\0');
        for (std::size_t i = 0; i < 4; ++i)
            bytes[i] = static_cast<char>(value >> 8 * (m_order == ELFDATA2MSB ? 3 - i : i));
        return bytes;
    }

    std::string note(BuildId const& id) const {
        std::string description(id.begin(), id.end());
        std::size_t const size = description.size();
        description.append((4 - size % 4) % 4, '\0');
        return word(4) + word(static_cast<std::uint32_t>(size)) + word(NT_GNU_BUILD_ID) +
               std::string("GNU\0", 4) + description;
    }

private:
    struct Section {
        std::string name;
        std::string content;
        GElf_Word type;
        GElf_Xword flags;
    };

    static void add(Elf* elf, Section& section, std::string& names) {
        std::size_t const place = names.size();
        names += section.name + '\0';
        fill(elf, section, place);
    }

    static std::size_t fill(Elf* elf, Section& section, std::size_t namePlace) {
        Elf_Scn* const part = elf_newscn(elf);
        Elf_Data* const data = elf_newdata(part);
        data->d_buf = section.content.data();
        data->d_size = section.content.size();
        data->d_align = section.type == SHT_NOTE ? 4 : 1;
        GElf_Shdr header{};
        gelf_getshdr(part, &header);
        header.sh_name = static_cast<GElf_Word>(namePlace);
        header.sh_type = section.type;
        header.sh_flags = section.flags;
        header.sh_entsize = section.type == SHT_SYMTAB ? 24 : 0;
        gelf_update_shdr(part, &header);
        return elf_ndxscn(part);
    }

    unsigned char m_order;
    GElf_Half m_type;
    std::vector<Section> m_sections;
    std::string m_path;
};

} // namespace lokata::profile::test
