#include "facts/symbol_tables.h"

#include "facts/dwarf_file.h"
#include "read/elf_image.h"

#include <unpack/packed_file.h>

#include <algorithm>

#include <gelf.h>

namespace lokata::profile {

namespace {

/// Of the content of .gnu_debugdata; those of the largest programs take a few MiB.
constexpr std::uint64_t c_maxPackedNames = 256U << 20;

bool isFunction(GElf_Sym const& symbol) {
    int const type = GELF_ST_TYPE(symbol.st_info);
    return symbol.st_shndx != SHN_UNDEF && (type == STT_FUNC || type == STT_GNU_IFUNC);
}

/// Reads no more of the table than up to its first function.
bool definesFunction(Elf* elf, GElf_Shdr const& table) {
    constexpr std::size_t c_atOnce = 4096;
    std::size_t const entry = gelf_fsize(elf, ELF_T_SYM, 1, EV_CURRENT);
    for (std::uint64_t at = 0; entry != 0 && at + entry <= table.sh_size; at += c_atOnce * entry) {
        std::size_t const size = std::min<std::uint64_t>(c_atOnce * entry, table.sh_size - at);
        Elf_Data* const data = elf_getdata_rawchunk(elf, static_cast<int64_t>(table.sh_offset + at),
                                                    size - size % entry, ELF_T_SYM);
        GElf_Sym symbol{};
        for (int i = 0; data != nullptr && gelf_getsym(data, i, &symbol) != nullptr; ++i)
            if (isFunction(symbol))
                return true;
        if (data == nullptr)
            return false;
    }
    return false;
}

bool hasFunctions(Elf* elf, std::uint32_t type) {
    for (Elf_Scn* section = elf_nextscn(elf, nullptr); section != nullptr;
         section = elf_nextscn(elf, section)) {
        GElf_Shdr header{};
        if (gelf_getshdr(section, &header) != nullptr && header.sh_type == type &&
            definesFunction(elf, header))
            return true;
    }
    return false;
}

bool hasPackedNames(std::string_view packed) {
    if (unpack::packingOf(packed) != unpack::Compression::xz)
        return false;
    unpack::Unpacked const image = unpack::unpackMemory(packed, c_maxPackedNames);
    if (!image.error.empty())
        return false;
    ElfHandle const elf = openElf(image.content);
    return elf && elf_kind(elf.get()) == ELF_K_ELF && hasFunctions(elf.get(), SHT_SYMTAB);
}

} // namespace

SymbolTables readSymbolTables(std::string const& path) {
    ElfSections const sections(path);
    if (!sections.error().empty())
        return {};
    return {hasFunctions(sections.elf(), SHT_SYMTAB) ||
                hasPackedNames(sections.section(".gnu_debugdata")),
            hasFunctions(sections.elf(), SHT_DYNSYM)};
}

} // namespace lokata::profile
