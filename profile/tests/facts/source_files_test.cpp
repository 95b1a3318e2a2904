#include "facts/source_files.h"

#include "facts/line_table.h"
#include "support/elf_builder.h"
#include "temp_tree.h"

#include <gtest/gtest.h>

namespace lokata::profile::test {
namespace {

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

std::string fileEntry(std::string const& name, int directory, char md5) {
    return name + bytes({0, directory}) + std::string(16, md5);
}

/// A line table of version 5 without line program, as clang lays it out.
std::string lineTable(std::string const& compilation = "/src") {
    std::string const files = bytes({1, 1, 8, 2}) + compilation + std::string("\0lib\0", 5) +
                              bytes({3, 1, 8, 2, 0xb, 5, 0x1e, 4}) + fileEntry("a.c", 0, 1) +
                              fileEntry("/usr/include/b.h", 1, 2) + fileEntry("c.h", 1, 0) +
                              fileEntry("<built-in>", 0, 0);
    std::string const rest = bytes({1, 1, 1, 0xfb, 14, 1}) + files;
    return counted(bytes({5, 0, 8, 0}) + counted(rest));
}

/// One with lists that end with an empty name.
std::string olderLineTable(std::initializer_list<std::pair<char const*, int>> files) {
    std::string entries = "lib" + bytes({0, 0});
    for (auto const& [name, directory] : files)
        entries += name + bytes({0, directory, 0, 0});
    return counted(bytes({4, 0}) + counted(bytes({1, 1, 1, 0xfb, 14, 1}) + entries + '\0'));
}

ElfBuilder debugInfo(std::string const& compilation = "/src",
                     std::string const& lines = lineTable()) {
    return ElfBuilder()
        .section(".debug_abbrev", bytes({1, 0x11, 0, 0x10, 0x17, 0x1b, 8, 0, 0, 0}))
        .section(".debug_info",
                 counted(bytes({5, 0, 1, 8, 0, 0, 0, 0, 1, 0, 0, 0, 0}) + compilation + bytes({0})))
        .section(".debug_line", lines);
}

class SourceFilesTest : public ::testing::Test {
protected:
    std::string debugFile() { return debugInfo().write(m_tree.path("x.debug")); }

    TempTree const m_tree;
};

TEST_F(SourceFilesTest, CarryTheMd5ThatTheCompilerWrote) {
    SourceFiles const sources = readSourceFiles(debugFile());
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

TEST_F(SourceFilesTest, HaveTheDirectoryOfTheirCompilationInFrontOnce) {
    auto const namesOf = [&](std::string const& compilation, std::string const& lines) {
        std::string names;
        for (SourceFile const& file :
             readSourceFiles(debugInfo(compilation, lines).write(m_tree.path("x"))).files)
            names += file.name + " ";
        return names;
    };
    EXPECT_EQ(namesOf("./lib", lineTable("./lib")), "/usr/include/b.h lib/a.c lib/lib/c.h ");
    EXPECT_EQ(namesOf("/src", lineTable(".")), "/src/a.c /src/lib/c.h /usr/include/b.h ");
    std::string const older = olderLineTable({{"a.c", 0}, {"c.h", 1}, {"<built-in>", 0}});
    EXPECT_EQ(namesOf("./lib", older), "lib/a.c lib/lib/c.h ");
    EXPECT_EQ(namesOf("/src", older), "/src/a.c /src/lib/c.h ");
}

TEST_F(SourceFilesTest, SayWhyThereAreNone) {
    EXPECT_NE(readSourceFiles(m_tree.file("text", "no ELF")).error, "");
    EXPECT_NE(readSourceFiles(m_tree.path("none")).error, "");
    ElfBuilder object(false, ET_REL);
    EXPECT_NE(readSourceFiles(object.debugInfo().write(m_tree.path("x.o"))).error, "");
}

/// libdw would read over the end of such strings, or unpack whatever is asked of it.
TEST_F(SourceFilesTest, AreNotReadWhereStringsDoNotEndOrSizesAreAbsurd) {
    std::string const stored =
        bytes({0x78, 1, 1, 6, 0, 0xf9, 0xff}) + "no end" + bytes({7, 0xb4, 2, 0x35});
    auto const packed = [&](std::uint64_t size) {
        return Bytes(true).raw("ZLIB").u64(size).raw(stored).content();
    };
    for (auto const& [name, content] : std::vector<std::pair<std::string, std::string>>{
             {".debug_str", "no end"},
             {".debug_line_str", "no end"},
             {".zdebug_str", packed(6)},
             {".zdebug_loc", packed(std::uint64_t{1} << 40)}}) {
        SourceFiles const sources =
            readSourceFiles(debugInfo().section(name, content).write(m_tree.path("x")));
        EXPECT_TRUE(sources.files.empty() && !sources.error.empty()) << name;
    }
    std::string const sound =
        debugInfo().section(".debug_str", std::string("\0a\0", 3)).write(m_tree.path("x"));
    EXPECT_EQ(readSourceFiles(sound).error, "");
}

/// Not what libdw would open by itself, were it a pipe.
TEST_F(SourceFilesTest, TakeStringsFromNoOtherFileThanTheOneGiven) {
    BuildId const id(20, 1);
    std::string const shared = ElfBuilder()
                                   .buildId(id)
                                   .section(".debug_str", std::string("\0/shared\0", 9))
                                   .section(".debug_info", "")
                                   .section(".debug_line", lineTable())
                                   .write(m_tree.path("shared"));
    std::string const linked =
        ElfBuilder()
            .altLink(shared, id)
            .section(".debug_abbrev", bytes({1, 0x11, 0, 0x10, 0x17, 0x1b, 0xa1, 0x3e, 0, 0, 0}))
            .section(".debug_info",
                     counted(bytes({4, 0, 0, 0, 0, 0, 8, 1, 0, 0, 0, 0, 1, 0, 0, 0})))
            .section(".debug_line", olderLineTable({{"a.c", 0}}))
            .write(m_tree.path("linked"));
    SourceFiles const alone = readSourceFiles(linked);
    EXPECT_EQ(alone.files.at(0).name, "a.c") << alone.error;
    EXPECT_EQ(readSourceFiles(linked, shared).files.at(0).name, "/shared/a.c");
}

TEST(LineTable, HasNoFilesIfItEndsEarlyOrCountsMoreThanItHolds) {
    auto const filesIn = [](std::string const& table, bool bigEndian = false) {
        std::size_t files = 0;
        std::uint64_t const size = readLineTable({table, {}, {}, {}, bigEndian}, 0, "",
                                                 [&](SourceFile const&) { ++files; });
        EXPECT_EQ(size == 0, files == 0);
        return files;
    };
    std::string const whole = lineTable();
    std::string const older = olderLineTable({{"a.c", 0}, {"b.h", 1}});
    EXPECT_EQ(filesIn(whole), 4U);
    EXPECT_EQ(filesIn(older), 2U);
    for (std::string const& table : {whole, older})
        for (std::size_t length = 0; length < table.size(); ++length)
            EXPECT_EQ(filesIn(table.substr(0, length)), 0U) << length;
    EXPECT_EQ(filesIn(whole, true), 0U) << "in the other byte order";
    std::string unknown = whole;
    unknown[4] = 6;
    EXPECT_EQ(filesIn(unknown), 0U);
    std::string endless = whole;
    endless.replace(endless.find("lib") - 6, 1, "\xff");
    EXPECT_EQ(filesIn(endless), 0U);
}

} // namespace
} // namespace lokata::profile::test
