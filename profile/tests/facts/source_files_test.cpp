#include "facts/source_files.h"

#include "facts/line_table_md5.h"
#include "support/elf_builder.h"
#include "temp_tree.h"

#include <gtest/gtest.h>

namespace lokata::profile::test {
namespace {

using LK_2_13::test::contentOf;
using LK_2_13::test::TempTree;

using Md5 = std::array<std::uint8_t, 16>;

Md5 md5Of(std::uint8_t value) {
    Md5 md5{};
    md5.fill(value);
    return md5;
}

std::string bytes(std::initializer_list<int> values) {
    std::string result;
    for (int const value : values)
        result += static_cast<char>(value);
    return result;
}

std::string counted(std::string const& content) {
    return Bytes().u32(content.size()).raw(content).content();
}

std::string fileEntry(std::string const& name, int directory, char md5) {
    return name + bytes({0, directory}) + std::string(16, md5);
}

/// A line table of version 5 without line program, as clang lays it out.
std::string lineTable() {
    std::string const files = bytes({1, 1, 8, 2}) + std::string("/src\0lib\0", 9) +
                              bytes({3, 1, 8, 2, 0xb, 5, 0x1e, 3}) + fileEntry("a.c", 0, 1) +
                              fileEntry("/usr/include/b.h", 1, 2) + fileEntry("c.h", 1, 0);
    std::string const rest = bytes({1, 1, 1, 0xfb, 14, 1}) + files;
    return counted(bytes({5, 0, 8, 0}) + counted(rest));
}

std::string debugFile(TempTree const& tree) {
    return ElfBuilder()
        .section(".debug_abbrev", bytes({1, 0x11, 0, 0x10, 0x17, 0x1b, 8, 0, 0, 0}))
        .section(".debug_info",
                 counted(bytes({5, 0, 1, 8, 0, 0, 0, 0, 1, 0, 0, 0, 0}) + "/src" + bytes({0})))
        .section(".debug_line", lineTable())
        .write(tree.path("x.debug"));
}

TEST(SourceFiles, CarryTheMd5ThatTheCompilerWrote) {
    TempTree const tree;
    SourceFiles const sources = readSourceFiles(debugFile(tree));
    EXPECT_EQ(sources.error, "");
    ASSERT_EQ(sources.files.size(), 3U);
    // All zeros is no checksum.
    std::vector<std::pair<std::string, std::optional<Md5>>> const expected{
        {"/src/a.c", md5Of(1)}, {"/src/lib/c.h", {}}, {"/usr/include/b.h", md5Of(2)}};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(sources.files[i].name, expected[i].first);
        EXPECT_EQ(sources.files[i].identity.md5, expected[i].second) << expected[i].first;
    }
}

TEST(SourceFiles, SayWhyThereAreNone) {
    TempTree const tree;
    EXPECT_NE(readSourceFiles(tree.file("text", "no ELF")).error, "");
    EXPECT_NE(readSourceFiles(tree.path("none")).error, "");
    ElfBuilder object(false, ET_REL);
    EXPECT_NE(readSourceFiles(object.debugInfo().write(tree.path("x.o"))).error, "");
}

TEST(SourceFiles, SurviveDamage) {
    TempTree const tree;
    std::string const whole = contentOf(debugFile(tree));
    Damage damage(whole, 3);
    for (int round = 0; round < 200; ++round)
        EXPECT_LE(readSourceFiles(tree.file("x", damage())).files.size(), whole.size());
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
