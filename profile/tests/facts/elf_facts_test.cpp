#include "facts/symbol_tables.h"
#include "support/elf_builder.h"

#include "packers.h"
#include "temp_tree.h"

#include <gtest/gtest.h>

namespace lokata::profile::test {
namespace {

class ElfFactsTest : public ::testing::Test {
protected:
    ElfFacts factsOf(ElfBuilder const& file) { return readElfFacts(file.write(m_tree.path("x"))); }

    TempTree m_tree;
};

TEST_F(ElfFactsTest, ReadsBuildIdsOfEveryLengthThatIsNoDamage) {
    for (std::size_t const length : {2U, 3U, 8U, 20U, 21U, 64U, 65U}) {
        ElfFacts const facts = factsOf(ElfBuilder().buildId(BuildId(length, 1)));
        EXPECT_EQ(facts.error, "");
        EXPECT_EQ(facts.build_id, length < 3 || length > 64 ? BuildId() : BuildId(length, 1))
            << length;
    }
}

TEST_F(ElfFactsTest, FindsTheBuildIdThroughProgramHeadersOfAFileWithoutSections) {
    std::string const id(20, 'i');
    std::string const note = elfNote(Bytes(), NT_GNU_BUILD_ID, "GNU", id);
    Bytes file = elfHeader(true, false, ET_DYN, 1);
    programHeader(file, true, PT_NOTE, 0, 64 + 56, 0, note.size(), 0);
    EXPECT_EQ(readElfFacts(m_tree.file("x", file.raw(note).content())).build_id, BuildId(20, 'i'));
}

TEST_F(ElfFactsTest, ReadsLinksInTheByteOrderOfTheFile) {
    for (bool const bigEndian : {false, true}) {
        ElfBuilder file(bigEndian);
        file.buildId(BuildId(20, 1))
            .debugLink("tool.debug", 0x12345678)
            .altLink("../dwz", BuildId(20, 7));
        ElfFacts const facts = factsOf(file);
        ASSERT_TRUE(facts.debug_link && facts.alt_link);
        EXPECT_EQ(facts.build_id, BuildId(20, 1));
        EXPECT_EQ(facts.debug_link->name, "tool.debug");
        EXPECT_EQ(facts.debug_link->crc, 0x12345678U);
        EXPECT_EQ(facts.alt_link->name, "../dwz");
        EXPECT_EQ(facts.alt_link->build_id, BuildId(20, 7));
        EXPECT_FALSE(facts.has_unusable_alt_link || factsOf(ElfBuilder()).has_unusable_alt_link);
    }
    for (std::string const& content :
         {std::string(), std::string("dwz"), std::string("dwz") + '\0', std::string("\0id", 3)}) {
        ElfFacts const facts = factsOf(ElfBuilder().section(".gnu_debugaltlink", content));
        EXPECT_TRUE(facts.has_unusable_alt_link && !facts.alt_link) << content;
    }
}

TEST_F(ElfFactsTest, CountsAsDebugInformationOnlyWhatHasContent) {
    EXPECT_TRUE(factsOf(ElfBuilder().debugInfo()).has_debug_info);
    EXPECT_FALSE(factsOf(ElfBuilder().section(".debug_info", "x", SHT_NOBITS)).has_debug_info);
    ElfFacts const facts = factsOf(ElfBuilder().symbolTable());
    EXPECT_TRUE(facts.has_symbol_table && !facts.has_debug_info);
}

TEST_F(ElfFactsTest, ASymbolTableCountsIfItDefinesAFunction) {
    auto const tables = [&](ElfBuilder const& file) {
        ElfFacts const facts = factsOf(file);
        bool const hasPacked =
            facts.has_packed_table && hasPackedNames(file.write(m_tree.path("f")));
        return std::string(hasPacked || facts.symbol_tables.has_names ? "names" : "") +
               (facts.symbol_tables.has_exports ? "exports" : "");
    };
    auto const packed = [&](ElfBuilder const& inner) {
        return ElfBuilder().section(".gnu_debugdata", xz(contentOf(inner.write(m_tree.path("i")))));
    };
    EXPECT_EQ(tables(ElfBuilder().symbolTable()), "names");
    EXPECT_EQ(tables(ElfBuilder().symbolTable(5000)), "names") << "behind many others";
    EXPECT_EQ(tables(ElfBuilder().symbols(SHT_DYNSYM, STT_GNU_IFUNC, 1)), "exports");
    EXPECT_EQ(tables(ElfBuilder().symbols(SHT_DYNSYM, STT_FUNC, SHN_UNDEF)), "") << "imported";
    EXPECT_EQ(tables(ElfBuilder().symbols(SHT_SYMTAB, STT_OBJECT, 1)), "");
    EXPECT_EQ(tables(packed(ElfBuilder().symbolTable())), "names");
    EXPECT_EQ(tables(packed(ElfBuilder())), "");
    EXPECT_EQ(tables(ElfBuilder().section(".gnu_debugdata", "xz")), "");
    EXPECT_FALSE(hasPackedNames(m_tree.file("text", "no ELF")));
}

TEST_F(ElfFactsTest, DebugInformationThatCannotBeReadIsDamaged) {
    constexpr std::uint64_t c_packed = SHF_COMPRESSED;
    std::string const unit("\x8\0\0\0\4\0\0\0\0\0\x8\0", 12);
    std::string const lines("\6\0\0\0\3\0\0\0\0\0", 10);
    std::string const types("\1\x11\0\0\0\0", 6);
    auto const packed = [](std::string const& bytes) {
        return Bytes().u32(ELFCOMPRESS_ZLIB).u32(0).u64(12).u64(1).raw(bytes).content();
    };
    std::string const zlib = std::string("\x78\x01\x01\x0c\0\xf3\xff", 7) + unit;
    auto const damage = [&](std::string const& info, std::uint64_t flags, std::string const& table,
                            std::string const& line) {
        return factsOf(ElfBuilder()
                           .section(".debug_info", info, SHT_PROGBITS, flags)
                           .section(".debug_abbrev", table)
                           .section(".debug_line", line))
            .debug_damage;
    };
    EXPECT_EQ(damage(unit, 0, types, lines), "");
    EXPECT_NE(damage(std::string(12, '\0'), 0, types, lines), "");
    EXPECT_NE(damage("\x9" + unit.substr(1), 0, types, lines), "") << "longer than its section";
    EXPECT_NE(damage(unit, 0, std::string(6, '\0'), lines), "");
    EXPECT_NE(damage(unit, 0, "", lines), "");
    EXPECT_NE(damage(unit, 0, types, std::string(10, '\0')), "");
    EXPECT_EQ(damage(packed(zlib), c_packed, types, lines), "");
    EXPECT_NE(damage(packed(std::string(40, 'Z')), c_packed, types, lines), "");
    EXPECT_NE(damage(unit, c_packed, types, lines), "") << "no header of a packed one";
}

TEST_F(ElfFactsTest, ASeparateDebugFileHoldsNothingThatIsLoaded) {
    auto const lacksCode = [&](std::uint32_t type, std::uint64_t flags) {
        return factsOf(
                   ElfBuilder().buildId(BuildId(20, 1)).section(".x", "x", type, SHF_ALLOC | flags))
            .lacks_code;
    };
    EXPECT_TRUE(lacksCode(SHT_NOBITS, SHF_EXECINSTR));
    EXPECT_TRUE(lacksCode(SHT_NOBITS, 0)) << "of a library without code";
    EXPECT_FALSE(lacksCode(SHT_NOBITS, SHF_WRITE)) << "zeros from the start";
    EXPECT_FALSE(lacksCode(SHT_PROGBITS, 0));
}

TEST_F(ElfFactsTest, SaysWhyAFileIsUnreadable) {
    EXPECT_EQ(readElfFacts(m_tree.file("text", "#!/bin/sh\n")).error, "it is not an ELF file");
    EXPECT_EQ(readElfFacts(m_tree.file("empty")).error, "it is not an ELF file");
    EXPECT_EQ(readElfFacts(m_tree.dir("dir")).error, "it is not a regular file");
    EXPECT_NE(readElfFacts(m_tree.path("none")).error, "");
}

/// Reading the second one would take hours.
TEST_F(ElfFactsTest, AHoleCountsAsItsZerosForTheChecksum) {
    std::string const path = m_tree.file("x", "123456789");
    std::filesystem::resize_file(path, 3000000);
    std::uint32_t const sparse = fileCrc32(path).value();
    EXPECT_EQ(fileCrc32(m_tree.file("full", contentOf(path))), sparse);
    std::filesystem::resize_file(path, std::uint64_t{1} << 40);
    EXPECT_NE(fileCrc32(path).value(), sparse);
}

TEST_F(ElfFactsTest, TheCacheTakesARewrittenFileForAnotherOne) {
    ElfFactsCache cache;
    std::string const path = ElfBuilder().buildId(BuildId(20, 1)).write(m_tree.path("x"));
    EXPECT_EQ(cache.facts(m_tree.link("alias", path)).get(), cache.facts(path).get());
    std::uint32_t const crc = cache.crc32(path).value();

    ElfBuilder().buildId(BuildId(20, 9)).write(m_tree.path("new"));
    std::filesystem::rename(m_tree.path("new"), path);
    EXPECT_EQ(cache.facts(path)->build_id, BuildId(20, 9));
    EXPECT_NE(cache.crc32(path).value(), crc);
    EXPECT_EQ(fileCrc32(m_tree.file("x", "123456789")), 0xcbf43926U);
    EXPECT_EQ(fileCrc32(m_tree.path("none")), std::nullopt);
}

} // namespace
} // namespace lokata::profile::test
