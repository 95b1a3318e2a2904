#include "search/file_places.h"
#include "search/path_mapping.h"

#include "temp_tree.h"

#include <gmock/gmock.h>

namespace lokata::profile::test {
namespace {

using namespace testing;

std::vector<std::string> paths(std::vector<Candidate> const& candidates, std::size_t most = 99) {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < std::min(candidates.size(), most); ++i)
        result.push_back(candidates[i].path);
    return result;
}

class FilePlacesTest : public ::testing::Test {
protected:
    FilePlaces places() { return FilePlaces(m_options); }

    TempTree m_tree;
    PlaceOptions m_options{{"/d"}, "", "", false, {}, ""};
    BuildId const m_id{0xab, 0xcd, 0xef};
    std::optional<DebugLink> const m_link = DebugLink{"ls.debug", 1};
};

TEST_F(FilePlacesTest, SymbolsComeInTheOrderOfGdb) {
    std::string const bin = m_tree.path("usr/bin");
    std::string const alias = m_tree.link("bin/alias", m_tree.file("usr/bin/ls"));
    m_options.debug_dirs = {"/d1", "/d2/"};
    EXPECT_THAT(paths(places().symbols("/usr/bin/ls", alias, m_id, m_link), 7),
                ElementsAre(alias, "/d1/.build-id/ab/cdef.debug", "/d2/.build-id/ab/cdef.debug",
                            bin + "/ls.debug", bin + "/.debug/ls.debug", "/d1" + bin + "/ls.debug",
                            "/d2" + bin + "/ls.debug"));
}

TEST_F(FilePlacesTest, DebugDirectoriesAreTriedInsideTheSysrootToo) {
    m_options.sysroot = m_tree.root();
    EXPECT_THAT(paths(places().symbols("/bin/ls", m_tree.file("bin/ls"), m_id, m_link), 8),
                ElementsAre(m_tree.path("bin/ls"), "/d/.build-id/ab/cdef.debug",
                            m_tree.path("d/.build-id/ab/cdef.debug"), m_tree.path("bin/ls.debug"),
                            m_tree.path("bin/.debug/ls.debug"), "/d" + m_tree.path("bin/ls.debug"),
                            "/d/bin/ls.debug", m_tree.path("d/bin/ls.debug")));
}

TEST_F(FilePlacesTest, BinariesAreLookedForInCopiedTreesAndCaches) {
    m_options = {{"/d"}, "/root/", "/symfs", false, {{"/build", "/src"}}, "/home/.debug"};
    EXPECT_THAT(paths(places().binary("/build/lib/x.so")),
                ElementsAre("/src/lib/x.so", "/symfs/build/lib/x.so", "/root/build/lib/x.so",
                            "/symfs/src/lib/x.so", "/root/src/lib/x.so"));
    EXPECT_THAT(paths(places().storedBinary("/build/lib/x.so", m_id)),
                ElementsAre("/home/.debug/.build-id/ab/cdef/elf",
                            "/home/.debug/.build-id/ab/cdef/vdso", "/home/.debug/.build-id/ab/cdef",
                            "/home/.debug/build/lib/x.so/abcdef/elf",
                            "/home/.debug/build/lib/x.so/abcdef/vdso", "/d/.build-id/ab/cdef",
                            "/root/d/.build-id/ab/cdef", "/symfs/d/.build-id/ab/cdef"));
    m_options.symfs_flat = true;
    EXPECT_THAT(paths(places().binary("/build/lib/x.so")), Contains("/symfs/x.so"));
}

TEST_F(FilePlacesTest, HostileNamesNeverBecomePaths) {
    m_options.sysroot = "/root";
    m_options.perf_cache = "/cache";
    for (std::string const hostile : {"../../etc/passwd", "/etc/passwd", "..", "a\nb", "a\x7f"})
        EXPECT_THAT(paths(places().symbols("/bin/ls", "/none/ls", m_id, DebugLink{hostile, 1})),
                    AllOf(Each(Not(HasSubstr(hostile))), Contains("/d/.build-id/ab/cdef.debug")));
    EXPECT_THAT(paths(places().source("/src/../../etc/passwd")), IsEmpty());
    EXPECT_THAT(paths(places().supplementary("/s", {"a\nb", m_id})),
                ElementsAre("/d/.build-id/ab/cdef.debug", "/root/d/.build-id/ab/cdef.debug"));
    EXPECT_EQ(searchableName("../../a/./b.c"), "a/b.c");
    EXPECT_EQ(searchableName("/x\n/b.c"), "b.c");
    EXPECT_EQ(searchableName("/x/b\n.c"), "");
    EXPECT_EQ(searchableName(std::string("/x/b.c\0d", 8)), "");
    EXPECT_EQ(searchableName(std::string("/x\0/b.c", 7)), "b.c");
}

TEST_F(FilePlacesTest, ARelativeSupplementaryLinkStartsAtTheRealSymbolFile) {
    m_options.debug_dirs.clear();
    std::string const alias = m_tree.link("by-id/x.debug", m_tree.file("bin/x.debug"));
    EXPECT_THAT(paths(places().supplementary(alias, {"../.dwz/s", m_id})),
                ElementsAre(m_tree.path("bin/../.dwz/s")));
}

TEST_F(FilePlacesTest, SplitDwarfLiesWhereDebuggersLook) {
    EXPECT_THAT(paths(places().package("/bin/ls", "/none/ls", "/s/ls.debug")),
                ElementsAre("/s/ls.debug.dwp", "/none/ls.dwp", "/s/ls.dwp", "/d/ls.dwp",
                            "/d/ls.debug.dwp"));
    EXPECT_THAT(paths(places().splitUnit("obj/a.dwo", "/b/obj/a.dwo")),
                ElementsAre("/d/obj/a.dwo"));
    EXPECT_THAT(paths(places().splitUnit("../a.dwo", "/b/a.dwo")), IsEmpty());
    m_options.sysroot = "/root";
    EXPECT_THAT(paths(places().splitUnit("/b/a.dwo", "/b/a.dwo")), ElementsAre("/root/b/a.dwo"));
    EXPECT_THAT(paths(places().package("/bin/ls", "", "/s/x")), Contains("/root/bin/ls.dwp"));
}

TEST_F(FilePlacesTest, OptionsAreReadFromTheirTexts) {
    addDebugDirs(m_options.debug_dirs, "/a::/b:");
    EXPECT_THAT(m_options.debug_dirs, ElementsAre("/d", "/a", "/b"));
    EXPECT_TRUE(parseSymfs("/a,b,flat", m_options));
    EXPECT_EQ(m_options.symfs, "/a,b");
    EXPECT_TRUE(m_options.symfs_flat);
    EXPECT_TRUE(parseSymfs("/a", m_options));
    EXPECT_FALSE(m_options.symfs_flat);
    for (char const* const wrong : {"", ",flat", "/a,tree"})
        EXPECT_FALSE(parseSymfs(wrong, m_options)) << wrong;
}

TEST(PathSubstitution, ReplacesWholeComponentsOnly) {
    PathSubstitution const rule = parsePathSubstitution("/build/=/src/").value();
    EXPECT_EQ(rule.apply("/build/a.c"), "/src/a.c");
    for (char const* const other : {"/builder/a.c", "/build", "/build/", "/x/build/a.c", ""})
        EXPECT_EQ(rule.apply(other), std::nullopt) << other;
    EXPECT_EQ(parsePathSubstitution("/=/copy").value().apply("/lib/x"), "/copy/lib/x");
    EXPECT_EQ(parsePathSubstitution("/build=").value().apply("/build/lib/x"), "/lib/x");
    for (char const* const wrong : {"", "=", "=/a", "/a"})
        EXPECT_FALSE(parsePathSubstitution(wrong)) << wrong;
}

TEST_F(FilePlacesTest, LinksInACopiedTreeNeverLeadOutOfIt) {
    std::string const inside = m_tree.file("root/real/lib/x.so");
    m_tree.link("root/lib", "/real/lib");
    m_tree.link("root/up", "../../../real");
    m_tree.link("root/circle", "/circle");
    std::string const out = m_tree.link("root/out.so", "/bin/sh");
    std::string const alias = m_tree.link("alias", m_tree.path("root"));
    m_tree.link("root/real/lib/out.so", "/bin/sh");
    std::string const within = m_tree.link("within", m_tree.path("root/real/lib"));
    std::string const relative =
        std::filesystem::relative(m_tree.path("root")).string() + "/out.so";
    auto const first = [&](char const* name) {
        std::vector<std::string> const found = paths(places().binary(name));
        return found.empty() ? "" : found.front();
    };
    for (std::string PlaceOptions::*const tree : {&PlaceOptions::sysroot, &PlaceOptions::symfs}) {
        m_options.sysroot.clear();
        m_options.*tree = m_tree.path("root");
        EXPECT_EQ(first("/lib/x.so"), inside);
        EXPECT_EQ(first("/up/lib/x.so"), inside) << "\"..\" stops at the root";
        EXPECT_EQ(first("/out.so"), m_tree.path("root/bin/sh"));
        EXPECT_EQ(first("/circle/x.so"), "");
        EXPECT_TRUE(places().trees().leadsOut(alias + "/out.so"));
        EXPECT_TRUE(places().trees().leadsOut(out));
        EXPECT_TRUE(places().trees().leadsOut(relative));
        EXPECT_TRUE(places().trees().leadsOut(within + "/out.so"));
        EXPECT_FALSE(places().trees().leadsOut(within + "/x.so"));
        EXPECT_FALSE(places().trees().leadsOut(inside));
    }
}

TEST(LearnedPaths, TeachTheNeighboursWhateverTheOrder) {
    LearnedPaths learned;
    learned.learn("/build/app/lib/x.so", "/opt/app/lib/x.so");
    EXPECT_THAT(learned.candidates("/build/other/y.so"), ElementsAre("/opt/other/y.so"));
    EXPECT_THAT(learned.candidates("/builder/y.so"), IsEmpty());

    learned.learn("/build/app/z.so", "/home/app/z.so");
    learned.learn("/build/app/w.so", "/home/app/w.so");
    EXPECT_THAT(learned.candidates("/build/y.so"), ElementsAre("/home/y.so", "/opt/y.so"));
    learned.learn("/usr/x", "copy/usr/x");
    EXPECT_THAT(learned.candidates("/usr/y"),
                ElementsAre(std::filesystem::current_path() / "copy/usr/y"));

    LearnedPaths nothing;
    nothing.learn("/a/x.so", "/a/x.so");
    nothing.learn("/a/x.so", "/b/y.so");
    nothing.learn("x.so", "/b/x.so");
    nothing.learn("/usr/lib/debug/.build-id/ab/cd.debug", "/b/.build-id/ab/cd.debug");
    EXPECT_THAT(nothing.substitutions(), IsEmpty());
}

} // namespace
} // namespace lokata::profile::test
