#include "lk_search_finder.h"

#include "support/offers.h"
#include "support/temp_tree.h"
#include "support/unprivileged.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace {

using namespace LK_2_13;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

class DirectoryWalker : public testing::Test {
protected:
    /// Walks one directory of the tree for a name; gives what was offered, relative to the tree.
    std::vector<std::string> offered(std::string const& directory, char const* name,
                                     bool recursive = true) {
        FilesFinder finder(ssSystemDirs, nullptr);
        finder.addSearchDirectory(directory.c_str(), recursive);
        finder.find(name, m_offers);
        return m_offers.namesBelow(m_tree.root());
    }

    test::TempTree m_tree;
    test::Offers m_offers;
};

TEST_F(DirectoryWalker, StripsTheDirectoriesOfANameFromTheLeft) {
    EXPECT_THAT(offered("/d", "/usr/lib/x.so", false),
                ElementsAre("/d/usr/lib/x.so", "/d/usr/lib/x.so", "/d/lib/x.so", "/d/x.so"));
    EXPECT_THAT(m_offers.steps, testing::Each(ssSystemDirs));
    m_offers.names.clear();
    EXPECT_THAT(offered("/d/e", "./a/../../x", false),
                ElementsAre("/d/x", "/d/x", "/x", "/d/x", "/d/e/x"));
}

TEST_F(DirectoryWalker, OffersTheFullNameFirstAndThenTheBareNameTreeByTree) {
    m_tree.dir("p/a");
    m_tree.dir("r/s");
    auto names = offered(m_tree.root(), "a/x");
    ASSERT_EQ(names.size(), 7U);
    if (names[3] == "r/x")
        std::swap_ranges(names.begin() + 3, names.begin() + 5, names.begin() + 5);
    EXPECT_THAT(names, ElementsAre("a/x", "x", "x", "p/x", "p/a/x", "r/x", "r/s/x"));
    m_offers.names.clear();
    EXPECT_THAT(offered(m_tree.root(), "a/x", false), ElementsAre("a/x", "x"));
}

TEST_F(DirectoryWalker, EntersEachDirectoryOnceThroughLinksAndLoops) {
    m_tree.dir("a/b");
    m_tree.link("a/b/up", "../..");
    m_tree.link("a/again", "b");
    auto const names = offered(m_tree.root(), "x");
    EXPECT_THAT(names, testing::AnyOf(UnorderedElementsAre("x", "x", "a/x", "a/b/x"),
                                      UnorderedElementsAre("x", "x", "a/x", "a/again/x")));
}

TEST_F(DirectoryWalker, FollowsLinksToDirectoriesAndPassesOverAllOtherEntries) {
    test::TempTree const elsewhere;
    m_tree.link("outside", elsewhere.root());
    m_tree.link("dangling", "nothing");
    m_tree.link("through", "file/none");
    m_tree.link("tofile", "file");
    m_tree.file("file");
    ASSERT_EQ(mkfifo(m_tree.path("fifo").c_str(), 0600), 0);
    EXPECT_THAT(offered(m_tree.root(), "x"), ElementsAre("x", "x", "outside/x"));
    m_offers.names.clear();
    EXPECT_THAT(offered(m_tree.path("none"), "x"), ElementsAre("none/x"));
    EXPECT_THAT(offered(m_tree.path("file"), "x"), ElementsAre("none/x", "file/x", "file/x"));
}

TEST_F(DirectoryWalker, GivesUpADirectoryWithAnEntryOfUnknownStatus) {
    m_tree.dir("bad/sub1");
    m_tree.link("bad/self", "self");
    m_tree.dir("bad/sub2");
    m_tree.dir("good");
    EXPECT_THAT(offered(m_tree.root(), "x"), UnorderedElementsAre("x", "x", "bad/x", "good/x"));
}

TEST_F(DirectoryWalker, GivesUpAClosedDirectoryAndGoesOnWithTheNext) {
    m_tree.dir("closed/sub");
    m_tree.dir("open");
    ASSERT_EQ(chmod(m_tree.path("closed").c_str(), 0311), 0);
    EXPECT_TRUE(test::holdsUnprivileged([&] {
        std::vector<std::string> const wanted{"closed/x", "open/x", "x", "x"};
        std::vector<std::string> names = offered(m_tree.root(), "x");
        std::sort(names.begin(), names.end());
        return names == wanted;
    }));
}

} // namespace
