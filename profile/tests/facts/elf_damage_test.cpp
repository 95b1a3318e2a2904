#include "support/elf_builder.h"

#include "facts/elf_tables.h"
#include "temp_tree.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <set>

namespace lokata::profile::test {
namespace {

using namespace testing;

class ElfDamageTest : public Test {
protected:
    std::string damage(std::string const& content) {
        ElfFacts const facts = readElfFacts(m_tree.file("x", content));
        EXPECT_EQ(facts.error, "");
        return facts.damage;
    }

    std::string content(ElfBuilder const& file) {
        return contentOf(file.write(m_tree.path("built")));
    }

    static std::string with(std::string content, std::size_t at, std::uint64_t value,
                            unsigned size) {
        return content.replace(at, size, Bytes().integer(value, size).content());
    }

    /// A program header at the end of the file.
    static std::string withSegment(std::string content, std::uint32_t type, std::uint64_t offset,
                                   std::uint64_t address, std::uint64_t size,
                                   std::uint64_t memory) {
        content = with(with(content, offsetof(Elf64_Ehdr, e_phoff), content.size(), 8),
                       offsetof(Elf64_Ehdr, e_phentsize), 56, 2);
        Bytes header;
        programHeader(header, true, type, 0, offset, address, size, memory);
        return with(content, offsetof(Elf64_Ehdr, e_phnum), 1, 2) + header.content();
    }

    TempTree m_tree;
};

/// The file has its headers at the end, as linkers write them, so that each cut takes some.
TEST_F(ElfDamageTest, NoPartOfARealFileIsWholeNorWithZerosInPlaceOfTheRest) {
    std::string const path = m_tree.file("x", contentOf("/proc/self/exe"));
    ASSERT_EQ(readElfFacts(path).damage, "");
    auto const size = std::filesystem::file_size(path);
    std::set<std::uint64_t, std::greater<>> cuts;
    for (std::uint64_t i = 1; i < 50; ++i)
        cuts.insert(size * i / 50);
    std::optional<ElfTables> const tables = readElfTables(ForeignFile(path));
    ASSERT_TRUE(tables);
    for (ElfSection const& section : tables->sections)
        if (section.type != SHT_NOBITS && section.size != 0)
            cuts.insert({section.offset, section.offset + section.size - 1});
    cuts.insert({size - 1, size - 65, 4096, 1024, 64, 63, 5});
    for (std::uint64_t const cut : cuts) {
        std::filesystem::resize_file(path, cut);
        EXPECT_THAT(readElfFacts(path).damage, HasSubstr(std::to_string(cut)));
        // Of the very last bytes some are zero anyhow.
        std::filesystem::resize_file(path, cut < size - 64 ? size : size - 1);
        EXPECT_NE(readElfFacts(path).damage, "") << "zeros behind " << cut;
    }
}

/// What a program cannot do without, each time zeros from behind its start on.
TEST_F(ElfDamageTest, ZerosInTheTablesOfARealProgramAreDamage) {
    std::string const whole = contentOf("/proc/self/exe");
    std::optional<ElfTables> const tables = readElfTables(ForeignFile(m_tree.file("x", whole)));
    ASSERT_TRUE(tables);
    auto const zeroed = [&](std::size_t at, std::size_t size) {
        return damage(std::string(whole).replace(at, size, size, '\0'));
    };
    std::size_t tried = 0;
    for (ElfSection const& section : tables->sections)
        for (char const* const name : {".shstrtab", ".dynstr", ".dynsym", ".dynamic"})
            if (tables->nameOf(section) == name) {
                std::size_t const kept = section.type == SHT_STRTAB ? 2 : 48;
                EXPECT_NE(zeroed(section.offset + kept, section.size - kept - 24), "") << name;
                ++tried;
            }
    EXPECT_EQ(tried, 4U);
    for (std::size_t const at : {offsetof(Elf64_Ehdr, e_type), offsetof(Elf64_Ehdr, e_machine),
                                 offsetof(Elf64_Ehdr, e_phnum)})
        EXPECT_NE(zeroed(at, 2), "") << at;
}

TEST_F(ElfDamageTest, TablesThatContradictThemselvesOrTheFormatAreDamage) {
    // Its sections: none, .text, .symtab, .strtab, .shstrtab.
    std::string const whole =
        content(ElfBuilder()
                    .section(".text", "code")
                    .section(".symtab", std::string(24, '\0') + "symbol" + std::string(18, '\0'),
                             SHT_SYMTAB)
                    .section(".strtab", std::string("\0name\0", 6), SHT_STRTAB));
    ASSERT_EQ(damage(whole), "");
    auto const headers = whole.size() - std::size_t{5} * 64;
    auto const of = [&](std::size_t section) { return headers + 64 * section; };
    for (auto const& [at, value, size] : std::vector<std::tuple<std::size_t, int, unsigned>>{
             {EI_CLASS, 3, 1},
             {EI_DATA, 0, 1},
             {offsetof(Elf64_Ehdr, e_version), 0, 4},
             {offsetof(Elf64_Ehdr, e_ehsize), 63, 2},
             {offsetof(Elf64_Ehdr, e_shentsize), 40, 2},
             {offsetof(Elf64_Ehdr, e_shnum), 6, 2},
             {offsetof(Elf64_Ehdr, e_shnum), 0, 2},
             {offsetof(Elf64_Ehdr, e_shstrndx), 5, 2},
             {offsetof(Elf64_Ehdr, e_shstrndx), 1, 2},
             {offsetof(Elf64_Ehdr, e_phnum), 1, 2},
             {of(0) + offsetof(Elf64_Shdr, sh_type), SHT_PROGBITS, 4},
             {of(1) + offsetof(Elf64_Shdr, sh_type), SHT_NULL, 4},
             {of(1) + offsetof(Elf64_Shdr, sh_name), 4711, 4},
             {of(1) + offsetof(Elf64_Shdr, sh_link), 5, 4},
             {of(1) + offsetof(Elf64_Shdr, sh_addralign), 3, 8},
             {of(1) + offsetof(Elf64_Shdr, sh_entsize), 5, 8},
             {of(2) + offsetof(Elf64_Shdr, sh_entsize), 23, 8},
             {of(2) + offsetof(Elf64_Shdr, sh_size), 40, 8},
             {of(2) + offsetof(Elf64_Shdr, sh_link), 1, 4},
             {of(3) + offsetof(Elf64_Shdr, sh_size), 5, 8},
             {of(4) + offsetof(Elf64_Shdr, sh_size), 0, 8},
         })
        EXPECT_NE(damage(with(whole, at, value, size)), "") << at << " " << value;
    for (char const* const overwritten : {"name", "symbol", ".text"}) {
        std::size_t const at = whole.find(overwritten);
        EXPECT_NE(damage(std::string(whole).replace(at, 6, 6, '\0')), "") << overwritten;
        EXPECT_NE(damage(std::string(whole).replace(at - 1, 1, 1, 'x')), "") << overwritten;
    }
}

TEST_F(ElfDamageTest, CountsThatDoNotFitIntoTheHeaderAreReadBehindIt) {
    std::string whole = content(ElfBuilder().buildId(BuildId(20, 1)));
    auto const headers = whole.size() - std::size_t{3} * 64;
    whole = with(with(whole, offsetof(Elf64_Ehdr, e_shnum), 0, 2), offsetof(Elf64_Ehdr, e_shstrndx),
                 SHN_XINDEX, 2);
    whole = with(with(whole, headers + offsetof(Elf64_Shdr, sh_size), 3, 8),
                 headers + offsetof(Elf64_Shdr, sh_link), 2, 4);
    EXPECT_EQ(damage(whole), "");
    EXPECT_NE(damage(with(whole, headers + offsetof(Elf64_Shdr, sh_size), 4, 8)), "");
    EXPECT_NE(damage(with(whole, headers + offsetof(Elf64_Shdr, sh_link), 3, 4)), "");
    EXPECT_NE(damage(with(whole, headers + offsetof(Elf64_Shdr, sh_size), 1U << 30, 8)), "");
    EXPECT_NE(damage(with(with(whole, offsetof(Elf64_Ehdr, e_phnum), PN_XNUM, 2),
                          headers + offsetof(Elf64_Shdr, sh_info), 1U << 30, 4)),
              "");
}

TEST_F(ElfDamageTest, SegmentsCountWhereTheFileHoldsTheirContents) {
    ElfBuilder program;
    program.section(".text", "code", SHT_PROGBITS, SHF_ALLOC | SHF_EXECINSTR);
    std::string const whole = content(program);
    std::string const debug = content(ElfBuilder().debugInfo().emptiedCode());
    std::string const bare = elfHeader(true, false, ET_EXEC, 0).content();
    EXPECT_NE(damage(whole), "") << "nothing loads what is loaded";
    for (std::string const& holding : {whole, bare}) {
        auto const size = holding.size();
        EXPECT_EQ(damage(withSegment(holding, PT_LOAD, 0, 0, size, size)), "");
        std::string const end = std::to_string(size + 4096);
        EXPECT_THAT(damage(withSegment(holding, PT_LOAD, size, 0, 4096, 4096)),
                    AllOf(HasSubstr(end), HasSubstr(std::to_string(size + 56))));
        EXPECT_NE(damage(withSegment(holding, PT_LOAD, ~0ULL - 3, 0, 64, 64)), "");
        EXPECT_NE(damage(withSegment(holding, PT_LOAD, 0, 0, size, size - 1)), "");
        EXPECT_NE(damage(withSegment(holding, PT_LOAD, 0, 1, size, size)), "") << "not aligned";
        EXPECT_NE(damage(withSegment(holding, PT_NULL, 0, 0, 0, 0)), "") << "nothing to load";
        EXPECT_NE(damage(withSegment(holding, PT_DYNAMIC, 56, 0, 8, 8)), "");
    }
    EXPECT_NE(damage(withSegment(whole, PT_LOAD, 0, 0, 64, 64)), "") << "only the header";
    EXPECT_EQ(damage(withSegment(debug, PT_LOAD, 4096, 0, 64, 64)), "");
    EXPECT_NE(damage(withSegment(debug, PT_LOAD, 0, 0, 64, 64).substr(0, debug.size() + 55)), "");
}

TEST_F(ElfDamageTest, TheSignatureOfAKernelModuleIsWhole) {
    std::string const signature = "bytes~Module signature appended~\n";
    std::string const module = content(ElfBuilder(false, ET_REL).section(".modinfo", "x"));
    std::string const object = content(ElfBuilder(false, ET_REL).section(".text", "x"));
    EXPECT_EQ(damage(module), "");
    EXPECT_EQ(damage(module + signature), "");
    EXPECT_EQ(damage(object + "whatever"), "");
    for (std::size_t length = 1; length < signature.size(); ++length)
        EXPECT_THAT(damage(module + signature.substr(0, length)),
                    HasSubstr(std::to_string(module.size() + length)));
}

} // namespace
} // namespace lokata::profile::test
