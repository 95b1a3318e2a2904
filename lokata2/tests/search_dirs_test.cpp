#include "lk_searchenv.h"
#include "lk_searchenv_chain.h"
#include "support/dir_records.h"

#include <gtest/gtest.h>

#include <string>

namespace LK_2_13 {
namespace {

using test::dirsOf;

TEST(SearchDirList, FoldsSpellingsTurnsFlagsOnAloneAndKeepsWindowsNames) {
    auto const dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scBinaryFiles, "/a/b", false, false);
    dirs->addDirectory(scBinaryFiles, "/z", true, true);
    dirs->addDirectory(scBinaryFiles, "/a/b/", true, false);
    dirs->addDirectory(scBinaryFiles, "/a/./b", false, true);
    dirs->addDirectory(scBinaryFiles, "/a/c/../b/.", false, false);
    dirs->addDirectory(scBinaryFiles, "/A/b", false, false);
    EXPECT_EQ(dirsOf(dirs->enumerate(scBinaryFiles)), "/a/b rp;/z rp;/A/b ;");
    for (char const* name : {"C:\\dir\\sub", "C:/dir/sub", "\\\\host\\share", "//host/share", ""})
        EXPECT_TRUE(dirs->addDirectory(scAllFiles, name, false, false));
    EXPECT_EQ(dirsOf(dirs->enumerate(scAllFiles)), "C:\\dir\\sub ;\\\\host\\share ; ;");
    FilteredDirList list;
    EXPECT_TRUE(list.add("/a", false, false));
    EXPECT_FALSE(list.add("/a/.", true, false) || list.add(nullptr, true, true));
}

TEST(SearchDirContainer, TellsAnUntouchedCategoryFromAnEmptyOne) {
    auto const dirs = IEditableSearchDirContainer::create();
    EXPECT_FALSE(dirs->enumerate(scBinaryFiles));
    EXPECT_TRUE(dirs->clear(scBinaryFiles));
    EXPECT_TRUE(dirs->addDirectory(scSymbolFiles, nullptr, true, true));
    EXPECT_TRUE(dirs->enumerate(scBinaryFiles));
    EXPECT_TRUE(dirs->enumerate(scSymbolFiles));
    EXPECT_FALSE(dirs->enumerate(scAllFiles)) << "categories are separate";
    auto const invalid = static_cast<search_category_t>(5);
    EXPECT_FALSE(dirs->addDirectory(invalid, "/a", false, false) || dirs->clear(invalid) ||
                 dirs->enumerate(invalid));
}

TEST(SearchDirIterator, WalksASnapshotAndStaysAtItsEnd) {
    auto const dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scSourceFiles, "/a", false, true);
    auto const before = dirs->enumerate(scSourceFiles);
    dirs->addDirectory(scSourceFiles, "/b", true, false);
    auto const after = dirs->enumerate(scSourceFiles);
    dirs->clear(scSourceFiles);

    EXPECT_TRUE(after->next());
    EXPECT_FALSE(after->next());
    EXPECT_FALSE(after->next());
    EXPECT_EQ(dirsOf(after), "/a p;/b r;");
    EXPECT_EQ(dirsOf(before), "/a p;");
}

TEST(CapturedSearchDirs, AreFrozenAndShareOneCursor) {
    auto const dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scBinaryFiles, "/a", false, true);
    dirs->addDirectory(scBinaryFiles, "/b", true, false);
    auto const env = IEditableSearchEnv::create();
    env->setSearchDirs(dirs);
    auto const captured = ICapturedSearchDirs::create(env);
    dirs->addDirectory(scBinaryFiles, "/late", false, false);

    auto const first = captured->enumerate(scBinaryFiles);
    EXPECT_EQ(first.get(), captured->enumerate(scBinaryFiles).get());
    EXPECT_TRUE(first->next());
    char const* name = nullptr;
    bool recursive = false;
    bool priority = false;
    ASSERT_TRUE(captured->enumerate(scBinaryFiles)->getCurrentRecord(name, recursive, priority));
    EXPECT_STREQ(name, "/b") << "the position of one walk shows in the other";

    auto const chain = ISearchDirChain::create();
    chain->addItem(captured);
    chain->addItem(ICapturedSearchDirs::create(nullptr));
    EXPECT_EQ(dirsOf(chain->enumerate(scBinaryFiles)), "/a p;/b r;");
    EXPECT_FALSE(captured->enumerate(scSourceFiles));
    EXPECT_FALSE(captured->enumerate(static_cast<search_category_t>(5)));
    ASSERT_TRUE(first->getCurrentRecord(name, recursive, priority));
    EXPECT_STREQ(name, "/b") << "a chain leaves the shared cursor alone";
}

} // namespace
} // namespace LK_2_13
