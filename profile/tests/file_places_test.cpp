#include "profile/file_places.h"

#include "temp_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lokata::profile::test {
namespace {

using LK_2_13::test::TempTree;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> paths(std::vector<Candidate> const& candidates) {
    std::vector<std::string> result;
    for (Candidate const& candidate : candidates)
        result.push_back(candidate.path);
    return result;
}

std::vector<std::string> firstPaths(std::vector<Candidate> const& candidates, std::size_t count) {
    std::vector<std::string> result = paths(candidates);
    result.resize(std::min(result.size(), count));
    return result;
}

PlaceOptions optionsWith(std::vector<std::string> debugDirs) {
    PlaceOptions options;
    options.debug_dirs = std::move(debugDirs);
    return options;
}

BuildId const c_id{0xab, 0xcd, 0xef};
std::optional<DebugLink> const c_link = DebugLink{"ls.debug", 1};

TEST(FilePlaces, SymbolsComeInTheOrderOfGdb) {
    LearnedPaths const learned;
    TempTree const tree;
    std::string const binary = tree.file("usr/bin/ls");
    std::string const bin = tree.path("usr/bin");
    FilePlaces const places(optionsWith({"/d1", "/d2/"}), learned);
    EXPECT_THAT(
        firstPaths(places.symbols("/usr/bin/ls", tree.link("bin/alias", binary), c_id, c_link), 7),
        ElementsAre(tree.path("bin/alias"), "/d1/.build-id/ab/cdef.debug",
                    "/d2/.build-id/ab/cdef.debug", bin + "/ls.debug", bin + "/.debug/ls.debug",
                    "/d1" + bin + "/ls.debug", "/d2" + bin + "/ls.debug"));
}

TEST(FilePlaces, DebugDirectoriesAreTriedInsideTheSysrootToo) {
    LearnedPaths const learned;
    TempTree const tree;
    PlaceOptions options = optionsWith({"/d"});
    options.sysroot = tree.root();
    FilePlaces const places(options, learned);
    EXPECT_THAT(firstPaths(places.symbols("/bin/ls", tree.file("bin/ls"), c_id, c_link), 8),
                ElementsAre(tree.path("bin/ls"), "/d/.build-id/ab/cdef.debug",
                            tree.path("d/.build-id/ab/cdef.debug"), tree.path("bin/ls.debug"),
                            tree.path("bin/.debug/ls.debug"), "/d" + tree.path("bin/ls.debug"),
                            "/d/bin/ls.debug", tree.path("d/bin/ls.debug")));
}

TEST(FilePlaces, BinariesAreLookedForInCopiedTreesAndCaches) {
    LearnedPaths learned;
    learned.learn("/build/lib/y.so", "/opt/lib/y.so");
    PlaceOptions options = optionsWith({"/d"});
    options.sysroot = "/root/";
    options.symfs = "/symfs";
    options.perf_cache = "/home/.debug";
    options.substitutions = {{"/build", "/src"}};
    EXPECT_THAT(paths(FilePlaces(options, learned).binary("/build/lib/x.so")),
                ElementsAre("/src/lib/x.so", "/symfs/build/lib/x.so", "/root/build/lib/x.so",
                            "/symfs/src/lib/x.so", "/root/src/lib/x.so", "/opt/lib/x.so"));
    EXPECT_THAT(paths(FilePlaces(options, learned).storedBinary("/build/lib/x.so", c_id)),
                ElementsAre("/home/.debug/.build-id/ab/cdef/elf",
                            "/home/.debug/.build-id/ab/cdef/vdso", "/home/.debug/.build-id/ab/cdef",
                            "/home/.debug/build/lib/x.so/abcdef/elf",
                            "/home/.debug/build/lib/x.so/abcdef/vdso", "/d/.build-id/ab/cdef",
                            "/root/d/.build-id/ab/cdef", "/symfs/d/.build-id/ab/cdef"));
    options.symfs_flat = true;
    EXPECT_THAT(paths(FilePlaces(options, learned).binary("/build/lib/x.so")),
                Contains("/symfs/x.so"));
}

TEST(FilePlaces, HostileNamesNeverBecomePaths) {
    LearnedPaths const learned;
    PlaceOptions options = optionsWith({"/d"});
    options.sysroot = "/root";
    options.perf_cache = "/cache";
    FilePlaces const places(options, learned);
    for (std::string const hostile : {"../../etc/passwd", "/etc/passwd", "..", "a\nb", "a\x7f"}) {
        std::vector<std::string> const symbols =
            paths(places.symbols("/bin/ls", "/none/ls", c_id, DebugLink{hostile, 1}));
        for (std::string const& path : symbols)
            EXPECT_EQ(path.find(hostile), std::string::npos) << path;
        EXPECT_THAT(symbols, Contains("/d/.build-id/ab/cdef.debug"));
    }
    EXPECT_THAT(paths(places.source("/src/../../etc/passwd")), IsEmpty());
    EXPECT_THAT(paths(places.supplementary("/s", {"a\nb", c_id})),
                ElementsAre("/d/.build-id/ab/cdef.debug", "/root/d/.build-id/ab/cdef.debug"));
    EXPECT_EQ(searchableName("../../a/./b.c"), "a/b.c");
    EXPECT_EQ(searchableName("/x\n/b.c"), "b.c");
    EXPECT_EQ(searchableName("/x/b\n.c"), "");
}

TEST(FilePlaces, ARelativeSupplementaryLinkStartsAtTheRealSymbolFile) {
    LearnedPaths const learned;
    TempTree const tree;
    std::string const alias = tree.link("by-id/x.debug", tree.file("bin/x.debug"));
    EXPECT_THAT(
        paths(FilePlaces(optionsWith({}), learned).supplementary(alias, {"../.dwz/s", c_id})),
        ElementsAre(tree.path("bin/../.dwz/s")));
}

TEST(FilePlaces, SymbolFilesHaveSeveralNames) {
    EXPECT_THAT(symbolFileNames("/bin/ls", c_id, DebugLink{"x.debug", 1}),
                ElementsAre("/bin/x.debug", ".build-id/ab/cdef.debug", "/bin/ls.debug", "/bin/ls"));
    EXPECT_THAT(symbolFileNames("ls", {}, DebugLink{"../x", 1}), ElementsAre("ls.debug", "ls"));
}

TEST(PlaceOptions, AreReadFromTheirTexts) {
    std::vector<std::string> dirs;
    addDebugDirs(dirs, "/a::/b:");
    EXPECT_THAT(dirs, ElementsAre("/a", "/b"));
    PlaceOptions options;
    EXPECT_TRUE(parseSymfs("/a,b,flat", options));
    EXPECT_EQ(options.symfs, "/a,b");
    EXPECT_TRUE(options.symfs_flat);
    EXPECT_TRUE(parseSymfs("/a", options));
    EXPECT_FALSE(options.symfs_flat);
    for (char const* const wrong : {"", ",flat", "/a,tree"})
        EXPECT_FALSE(parseSymfs(wrong, options)) << wrong;
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

TEST(LearnedPaths, TryWhatOneHitTaughtOnItsNeighbours) {
    LearnedPaths learned;
    PathSubstitution const taught =
        learned.learn("/build/app/lib/x.so", "/opt/app/lib/x.so").value();
    EXPECT_EQ(taught.from, "/build");
    EXPECT_EQ(taught.to, "/opt");
    EXPECT_THAT(learned.candidates("/build/other/y.so"), ElementsAre("/opt/other/y.so"));
    EXPECT_THAT(learned.candidates("/builder/y.so"), IsEmpty());

    EXPECT_FALSE(learned.learn("/build/app/z.so", "/opt/app/z.so")) << "known";
    EXPECT_FALSE(learned.learn("/a/x.so", "/a/x.so")) << "no difference";
    EXPECT_FALSE(learned.learn("/a/x.so", "/b/y.so")) << "another name";
    EXPECT_FALSE(learned.learn("x.so", "/b/x.so")) << "no prefix";

    learned.learn("/build/app/lib/x.so", "/home/x.so");
    EXPECT_THAT(learned.candidates("/build/app/lib/y.so"),
                ElementsAre("/home/y.so", "/opt/app/lib/y.so"));
    learned.learn("/usr/x", "/copy/usr/x");
    EXPECT_THAT(learned.candidates("/usr/y"), ElementsAre("/copy/usr/y"));
}

} // namespace
} // namespace lokata::profile::test
