#include "facts/symbol_tables.h"

#include "read/cursor.h"

#include <unpack/packed_file.h>

#include <algorithm>

#include <elf.h>

namespace lokata::profile {

namespace {

/// Of the content of .gnu_debugdata; those of the largest programs take a few MiB.
constexpr std::uint64_t c_maxPackedNames = 256U << 20;

/// The next symbol of a table; the words of an entry are ordered by the class of the file.
bool isFunction(Cursor& symbols, bool wide) {
    symbols.skip(wide ? 4 : 12); // the name; of 32 bits the value and the size as well
    std::uint8_t const info = symbols.u8();
    symbols.skip(1); // the visibility
    std::uint16_t const section = symbols.u16();
    symbols.skip(wide ? 16 : 0);               // the value and the size
    unsigned const type = ELF64_ST_TYPE(info); // The same for both classes.
    return symbols.ok() && section != SHN_UNDEF && (type == STT_FUNC || type == STT_GNU_IFUNC);
}

bool definesFunction(ForeignFile const& file, ElfTables const& tables, ElfSection const& table) {
    constexpr std::uint64_t c_atOnce = 4096;
    std::uint64_t const entry = tables.wide ? sizeof(Elf64_Sym) : sizeof(Elf32_Sym);
    std::string block;
    for (std::uint64_t at = 0; at + entry <= table.size; at += c_atOnce * entry) {
        std::uint64_t const size = std::min(c_atOnce * entry, table.size - at);
        if (!file.read(table.offset + at, size, block))
            return false;
        for (Cursor symbols(block, tables.big_endian); symbols.remaining() >= entry;)
            if (isFunction(symbols, tables.wide))
                return true;
    }
    return false;
}

} // namespace

SymbolTables readSymbolTables(ForeignFile const& file, ElfTables const& tables) {
    SymbolTables result;
    for (ElfSection const& section : tables.sections) {
        bool* const found = section.type == SHT_SYMTAB   ? &result.has_names
                            : section.type == SHT_DYNSYM ? &result.has_exports
                                                         : nullptr;
        if (found != nullptr && !*found)
            *found = definesFunction(file, tables, section);
    }
    return result;
}

bool hasPackedNames(std::string const& path) {
    ForeignFile const file(path);
    auto const tables = file.error().empty() ? readElfTables(file) : std::nullopt;
    if (!tables)
        return false;
    std::string packed;
    for (ElfSection const& section : tables->sections)
        if (tables->nameOf(section) == c_packedNames && section.size <= c_maxPackedNames)
            file.read(section.offset, section.size, packed);
    if (unpack::packingOf(packed) != unpack::Compression::xz)
        return false;
    unpack::Unpacked const image = unpack::unpackMemory(packed, c_maxPackedNames);
    if (!image.error.empty())
        return false;
    ForeignFile const inner = ForeignFile::ofContent(image.content);
    auto const innerTables = readElfTables(inner);
    return innerTables && readSymbolTables(inner, *innerTables).has_names;
}

} // namespace lokata::profile
