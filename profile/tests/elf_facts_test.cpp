#include "elf_builder.h"

#include "temp_tree.h"

#include <gtest/gtest.h>

#include <random>

namespace lokata::profile::test {
namespace {

using LK_2_13::test::contentOf;
using LK_2_13::test::TempTree;

BuildId idOf(std::size_t length, std::uint8_t first = 1) {
    BuildId id(length);
    for (std::size_t i = 0; i < length; ++i)
        id[i] = static_cast<std::uint8_t>(first + i);
    return id;
}

TEST(ElfFacts, ReadsBuildIdsOfEveryLengthThatIsNoDamage) {
    TempTree const tree;
    for (std::size_t const length : {2U, 3U, 8U, 20U, 21U, 64U, 65U}) {
        BuildId const id = idOf(length);
        ElfFacts const facts = readElfFacts(ElfBuilder().buildId(id).write(tree.path("x")));
        EXPECT_EQ(facts.error, "");
        EXPECT_EQ(facts.build_id, length < 3 || length > 64 ? BuildId() : id) << length;
    }
}

TEST(ElfFacts, FindsTheBuildIdThroughProgramHeadersOfAFileWithoutSections) {
    TempTree const tree;
    std::string const note = ElfBuilder().note(idOf(20));
    Elf64_Ehdr header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_DYN;
    header.e_version = EV_CURRENT;
    header.e_phoff = sizeof header;
    header.e_ehsize = sizeof header;
    header.e_phentsize = sizeof(Elf64_Phdr);
    header.e_phnum = 1;
    Elf64_Phdr segment{};
    segment.p_type = PT_NOTE;
    segment.p_offset = sizeof header + sizeof segment;
    segment.p_filesz = note.size();
    segment.p_align = 4;
    std::string file(sizeof header + sizeof segment, '\0');
    std::memcpy(file.data(), &header, sizeof header);
    std::memcpy(file.data() + sizeof header, &segment, sizeof segment);
    EXPECT_EQ(readElfFacts(tree.file("x", file + note)).build_id, idOf(20));
}

TEST(ElfFacts, ReadsLinksInTheByteOrderOfTheFile) {
    TempTree const tree;
    for (unsigned char const order : {ELFDATA2LSB, ELFDATA2MSB}) {
        ElfFacts const facts = readElfFacts(ElfBuilder(order)
                                                .buildId(idOf(20))
                                                .debugLink("tool.debug", 0x12345678)
                                                .altLink("../shared.debug", idOf(20, 7))
                                                .write(tree.path("x")));
        ASSERT_TRUE(facts.debug_link && facts.alt_link);
        EXPECT_EQ(facts.build_id, idOf(20));
        EXPECT_EQ(facts.debug_link->name, "tool.debug");
        EXPECT_EQ(facts.debug_link->crc, 0x12345678U);
        EXPECT_EQ(facts.alt_link->name, "../shared.debug");
        EXPECT_EQ(facts.alt_link->build_id, idOf(20, 7));
    }
}

TEST(ElfFacts, CountsAsDebugInformationOnlyWhatHasContent) {
    TempTree const tree;
    EXPECT_TRUE(readElfFacts(ElfBuilder().debugInfo().write(tree.path("x"))).has_debug_info);
    EXPECT_FALSE(
        readElfFacts(
            ElfBuilder().section(".debug_info", "emptied", SHT_NOBITS).write(tree.path("x")))
            .has_debug_info);
    ElfFacts const facts = readElfFacts(
        ElfBuilder().symbolTable().section(".gnu_debugdata", "xz").write(tree.path("x")));
    EXPECT_TRUE(facts.has_symbol_table);
    EXPECT_TRUE(facts.has_mini_debug_info);
    EXPECT_FALSE(facts.has_debug_info);
}

TEST(ElfFacts, TellsKernelsAndModulesFromPrograms) {
    TempTree const tree;
    auto const kindOf = [&](GElf_Half type, char const* section) {
        return readElfFacts(
                   ElfBuilder(ELFDATA2LSB, type).section(section, "x").write(tree.path("x")))
            .kind;
    };
    EXPECT_EQ(kindOf(ET_EXEC, "__ksymtab"), ElfKind::kernel);
    EXPECT_EQ(kindOf(ET_REL, ".modinfo"), ElfKind::kernel_module);
    EXPECT_EQ(kindOf(ET_REL, ".text"), ElfKind::object);
    EXPECT_EQ(kindOf(ET_DYN, ".modinfo"), ElfKind::program);
}

TEST(ElfFacts, SaysWhyAFileIsUnreadable) {
    TempTree const tree;
    EXPECT_EQ(readElfFacts(tree.file("text", "#!/bin/sh\n")).error, "not an ELF file");
    EXPECT_EQ(readElfFacts(tree.file("empty")).error, "not an ELF file");
    EXPECT_EQ(readElfFacts(tree.dir("dir")).error, "not a regular file");
    EXPECT_NE(readElfFacts(tree.path("none")).error, "");
}

/// What matters is that the sanitizers stay silent and that nothing is made up.
TEST(ElfFacts, SurvivesTruncationsAndFlippedBytes) {
    TempTree const tree;
    std::string const whole = contentOf(ElfBuilder()
                                            .buildId(idOf(20))
                                            .debugLink("tool.debug", 1)
                                            .altLink("shared", idOf(20))
                                            .symbolTable()
                                            .debugInfo()
                                            .write(tree.path("whole")));
    for (std::size_t length = 0; length < whole.size(); length += 5) {
        BuildId const id = readElfFacts(tree.file("x", whole.substr(0, length))).build_id;
        EXPECT_TRUE(id.empty() || id == idOf(20));
    }
    std::mt19937 random(4711); // NOLINT(bugprone-random-generator-seed)
    for (int round = 0; round < 200; ++round) {
        std::string damaged = whole;
        for (int i = 0; i < 4; ++i)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        EXPECT_LE(readElfFacts(tree.file("x", damaged)).build_id.size(), c_maxBuildId);
    }
}

TEST(ElfFactsCache, TakesARewrittenFileForAnotherOne) {
    TempTree const tree;
    ElfFactsCache cache;
    std::string const path = ElfBuilder().buildId(idOf(20)).write(tree.path("x"));
    auto const first = cache.facts(path);
    EXPECT_EQ(cache.facts(tree.link("alias", path)).get(), first.get());
    std::uint32_t const crc = cache.crc32(path).value();

    ElfBuilder().buildId(idOf(20, 9)).write(tree.path("new"));
    std::filesystem::rename(tree.path("new"), path);
    EXPECT_EQ(cache.facts(path)->build_id, idOf(20, 9));
    EXPECT_NE(cache.crc32(path).value(), crc);
}

TEST(FileCrc32, IsTheChecksumOfDebugLinks) {
    TempTree const tree;
    EXPECT_EQ(fileCrc32(tree.file("x", "123456789")), 0xcbf43926U);
    EXPECT_EQ(fileCrc32(tree.path("none")), std::nullopt);
}

} // namespace
} // namespace lokata::profile::test
