#include "facts/split_dwarf.h"

#include "support/elf_builder.h"
#include "temp_tree.h"

#include <gmock/gmock.h>

namespace lokata::profile::test {
namespace {

using namespace testing;

constexpr std::uint64_t c_id = 0x1122334455667788;

/// A unit of DWARF 5: a skeleton is of type 4, what it was taken from of type 5.
std::string unit(int type, std::uint64_t id, std::string_view name) {
    Bytes content;
    content.u16(5).u8(type).u8(8).u32(0).u64(id).u8(1).text(name).text("/build");
    return counted(content.content());
}

/// And one of DWARF 4, as GNU extended it.
std::string olderSkeleton(std::uint64_t id, std::string_view name) {
    return counted(Bytes().u16(4).u32(0).u8(8).u8(2).text(name).text("lib").u64(id).content());
}

/// The tag, and names and forms in order; the file names dwo_name, comp_dir, GNU_dwo_id.
std::string abbreviations() {
    using namespace std::string_literals;
    return "\1\x4a\0\x76\10\x1b\10\0\0"
           "\2\x11\0\xb0\x42\10\x1b\10\xb1\x42\7\0\0\0"s;
}

std::string describe(SplitDwarf const& split) {
    std::string text = split.error;
    for (SplitUnit const& each : split.units)
        text += each.directory + " " + each.name + " " + std::to_string(each.id) + "\n";
    return text;
}

class SplitDwarfTest : public Test {
protected:
    std::string program(std::string const& name, std::uint16_t type = ET_DYN) {
        return ElfBuilder(false, type)
            .section(".debug_abbrev", abbreviations())
            .section(".debug_info", unit(4, c_id, "a.dwo") + olderSkeleton(7, "/out/b.dwo"))
            .write(m_tree.path(name));
    }

    /// Two units, each with its own abbreviations; `size` is what the index says of the second.
    std::string package(std::uint16_t version, bool bigEndian = false, std::uint32_t size = 21,
                        std::uint64_t inHeader = c_id,
                        std::string const& types = abbreviations() + abbreviations()) {
        auto const of = [&](std::uint64_t id) {
            Bytes content(bigEndian);
            version == 5 ? content.u16(5).u8(5).u8(8).u32(0).u64(id).u8(1)
                         : content.u16(4).u32(0).u8(8).u64(id).u16(1);
            return Bytes(bigEndian).u32(17).raw(content.content()).content();
        };
        Bytes index(bigEndian);
        version == 5 ? index.u16(5).u16(0) : index.u32(version);
        index.u32(2).u32(2).u32(4).u64(0).u64(c_id).u64(7).u64(0);
        index.u32(0).u32(2).u32(1).u32(0);
        std::uint32_t const table = abbreviations().size();
        index.u32(1).u32(3).u32(0).u32(0).u32(21).u32(table);
        index.u32(21).u32(table).u32(size).u32(table);
        return ElfBuilder(bigEndian, ET_REL)
            .section(".debug_cu_index", index.content())
            .section(".debug_info.dwo", of(7) + of(inHeader))
            .section(".debug_abbrev.dwo", types)
            .write(m_tree.path("package"));
    }

    TempTree m_tree;
};

TEST_F(SplitDwarfTest, NamesTheFilesThatSkeletonsWereLeftFor) {
    SplitDwarf const split = readSplitDwarf(program("x"));
    EXPECT_EQ(describe(split), "/build a.dwo " + std::to_string(c_id) + "\nlib /out/b.dwo 7\n");
    EXPECT_EQ(describe(readSplitDwarf(program("x.o", ET_REL))),
              "  " + std::to_string(c_id) + "\n  7\n");
    EXPECT_NE(readSplitDwarf(m_tree.file("text", "no ELF")).error, "");
}

TEST_F(SplitDwarfTest, KnowsWhatAPackageAndADwoFileHold) {
    for (std::uint16_t const version : {2, 5})
        for (bool const bigEndian : {false, true}) {
            SplitContents const contents = readSplitContents(package(version, bigEndian));
            EXPECT_THAT(contents.ids, ElementsAre(7, c_id)) << version << contents.error;
        }
    EXPECT_THAT(readSplitContents(package(6)).ids, IsEmpty());
    EXPECT_THAT(readSplitContents(package(5, false, 22)).ids, ElementsAre(7)) << "too long";
    EXPECT_THAT(readSplitContents(package(5, false, 21, 9)).ids, ElementsAre(7)) << "another unit";
    EXPECT_THAT(readSplitContents(package(5, false, 21, c_id, abbreviations())).ids,
                ElementsAre(7));
    EXPECT_THAT(readSplitContents(package(5, false, 21, c_id, std::string(64, '\0'))).ids,
                IsEmpty());
    ElfBuilder file(false, ET_REL);
    file.section(".debug_line.dwo", "x").section(".debug_cu_index", std::string(16, '\0'));
    SplitContents const empty = readSplitContents(file.write(m_tree.path("empty.dwp")));
    EXPECT_TRUE(empty.ids.empty() && empty.error.empty()) << "as dwp makes it" << empty.error;
    file = ElfBuilder(false, ET_REL);
    file.section(".debug_abbrev.dwo", abbreviations())
        .section(".debug_info.dwo", unit(5, c_id, ""));
    SplitContents contents = readSplitContents(file.write(m_tree.path("a.dwo")));
    EXPECT_THAT(contents.ids, ElementsAre(c_id)) << contents.error;
    ElfBuilder bare(false, ET_REL);
    bare.section(".debug_info.dwo", unit(5, c_id, ""));
    EXPECT_THAT(readSplitContents(bare.write(m_tree.path("bare.dwo"))).ids, IsEmpty());
    file.section(".debug_abbrev", abbreviations())
        .section(".debug_info", unit(4, c_id, "a.o") + unit(4, 7, "other.o"));
    contents = readSplitContents(file.write(m_tree.path("a.o")));
    EXPECT_THAT(contents.ids, ElementsAre(c_id)) << "beside its skeleton" << contents.error;
    EXPECT_NE(readSplitContents(m_tree.file("text", "no ELF")).error, "");
}

} // namespace
} // namespace lokata::profile::test
