#include "profile/source_files.h"

#include "elf_builder.h"
#include "line_table_md5.h"
#include "temp_tree.h"

#include <gtest/gtest.h>

#include <random>

namespace lokata::profile::test {
namespace {

using LK_2_13::test::contentOf;
using LK_2_13::test::TempTree;

using Md5 = std::array<std::uint8_t, 16>;

Md5 md5Of(std::uint8_t first) {
    Md5 md5{};
    for (std::size_t i = 0; i < md5.size(); ++i)
        md5[i] = static_cast<std::uint8_t>(first + i);
    return md5;
}

std::string bytes(std::initializer_list<int> values) {
    std::string result;
    for (int const value : values)
        result += static_cast<char>(value);
    return result;
}

std::string text(std::string const& value) {
    return value + '\0';
}

std::string counted(std::string const& content) {
    return ElfBuilder().word(static_cast<std::uint32_t>(content.size())) + content;
}

std::string fileEntry(std::string const& name, int directory, Md5 const& md5) {
    return text(name) + bytes({directory}) + std::string(md5.begin(), md5.end());
}

/// A line table of version 5 without line program, as clang lays it out.
std::string lineTable() {
    std::string const files = bytes({1, 1, 8, 2}) + text("/src") + text("lib") +
                              bytes({3, 1, 8, 2, 0xb, 5, 0x1e, 3}) + fileEntry("a.c", 0, md5Of(1)) +
                              fileEntry("/usr/include/b.h", 1, md5Of(2)) +
                              fileEntry("c.h", 1, Md5{});
    std::string const rest = bytes({1, 1, 1, 0xfb, 14, 1}) + files;
    return counted(bytes({5, 0, 8, 0}) + counted(rest));
}

std::string debugFile(TempTree const& tree) {
    return ElfBuilder()
        .section(".debug_abbrev", bytes({1, 0x11, 0, 0x10, 0x17, 0x1b, 8, 0, 0, 0}))
        .section(".debug_info",
                 counted(bytes({5, 0, 1, 8, 0, 0, 0, 0, 1, 0, 0, 0, 0}) + text("/src")))
        .section(".debug_line", lineTable())
        .write(tree.path("x.debug"));
}

TEST(SourceFiles, CarryTheMd5ThatTheCompilerWrote) {
    TempTree const tree;
    SourceFiles const sources = readSourceFiles(debugFile(tree));
    EXPECT_EQ(sources.error, "");
    ASSERT_EQ(sources.files.size(), 3U);
    EXPECT_EQ(sources.files[0].name, "/src/a.c");
    EXPECT_EQ(sources.files[0].identity.md5, md5Of(1));
    EXPECT_EQ(sources.files[1].name, "/src/lib/c.h");
    EXPECT_EQ(sources.files[1].identity.md5, std::nullopt) << "all zeros is no checksum";
    EXPECT_EQ(sources.files[2].name, "/usr/include/b.h");
    EXPECT_EQ(sources.files[2].identity.md5, md5Of(2));
}

TEST(SourceFiles, SayWhyThereAreNone) {
    TempTree const tree;
    EXPECT_NE(readSourceFiles(tree.file("text", "no ELF")).error, "");
    EXPECT_NE(readSourceFiles(tree.path("none")).error, "");
    EXPECT_NE(
        readSourceFiles(ElfBuilder(ELFDATA2LSB, ET_REL).debugInfo().write(tree.path("x.o"))).error,
        "");
}

TEST(SourceFiles, SurviveDamage) {
    TempTree const tree;
    std::string const whole = contentOf(debugFile(tree));
    std::mt19937 random(11); // NOLINT(bugprone-random-generator-seed)
    for (int round = 0; round < 200; ++round) {
        std::string damaged = whole;
        for (int i = 0; i < 3; ++i)
            damaged[random() % damaged.size()] = static_cast<char>(random());
        EXPECT_LE(readSourceFiles(tree.file("x", damaged)).files.size(), whole.size());
    }
}

TEST(LineTableMd5, GivesNothingForATableThatEndsEarly) {
    std::string const whole = lineTable();
    EXPECT_EQ(lineTableMd5(whole, 0, false).size(), 3U);
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_TRUE(lineTableMd5(whole.substr(0, length), 0, false).empty()) << length;
    EXPECT_TRUE(lineTableMd5(whole, whole.size(), false).empty());
    EXPECT_TRUE(lineTableMd5(whole, 0, true).empty()) << "in the other byte order";

    std::string older = whole;
    older[4] = 4;
    EXPECT_TRUE(lineTableMd5(older, 0, false).empty());
}

} // namespace
} // namespace lokata::profile::test
