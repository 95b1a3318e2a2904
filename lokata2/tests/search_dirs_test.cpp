#include "support/dir_records.h"

#include <gtest/gtest.h>

#include <array>

namespace LK_2_13 {
namespace {

using test::dirsOf;

constexpr std::array invalidCategories{static_cast<search_category_t>(0),
                                       static_cast<search_category_t>(5)};

TEST(SearchDirList, FoldsSpellingsOfOneDirectoryAndOnlyTurnsFlagsOn) {
    auto const dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scBinaryFiles, "/a/b", false, false);
    dirs->addDirectory(scBinaryFiles, "/z", true, true);
    dirs->addDirectory(scBinaryFiles, "/a/b/", true, false);
    dirs->addDirectory(scBinaryFiles, "/a/./b", false, true);
    dirs->addDirectory(scBinaryFiles, "/a/c/../b/.", false, false);
    dirs->addDirectory(scBinaryFiles, "/A/b", false, false);
    EXPECT_EQ(dirsOf(dirs->enumerate(scBinaryFiles)), "/a/b rp;/z rp;/A/b ;");
}

TEST(SearchDirList, KeepsWindowsAndEmptyNamesAsTheyWereWritten) {
    auto const dirs = IEditableSearchDirContainer::create();
    for (char const* name : {"C:\\dir\\sub", "C:/dir/sub", "\\\\host\\share", "//host/share", ""})
        EXPECT_TRUE(dirs->addDirectory(scAllFiles, name, false, false));
    EXPECT_EQ(dirsOf(dirs->enumerate(scAllFiles)), "C:\\dir\\sub ;\\\\host\\share ; ;");
}

TEST(SearchDirList, TellsWhetherAnEntryIsNew) {
    ObjectPtr<FilteredDirList> const list = new FilteredDirList;
    EXPECT_TRUE(list->add("/a", false, false));
    EXPECT_FALSE(list->add("/a/.", true, true));
    EXPECT_FALSE(list->add(nullptr, true, true));
    list->clear();
    EXPECT_TRUE(list->add("/a", false, false));
}

TEST(SearchDirContainer, TellsAnUntouchedCategoryFromAnEmptyOne) {
    auto const dirs = IEditableSearchDirContainer::create();
    EXPECT_FALSE(dirs->enumerate(scBinaryFiles));
    EXPECT_TRUE(dirs->clear(scBinaryFiles));
    EXPECT_TRUE(dirs->addDirectory(scSymbolFiles, nullptr, true, true));
    for (search_category_t const touched : {scBinaryFiles, scSymbolFiles}) {
        ASSERT_TRUE(dirs->enumerate(touched));
        EXPECT_EQ(dirsOf(dirs->enumerate(touched)), "");
    }
    EXPECT_FALSE(dirs->enumerate(scAllFiles)) << "categories are separate";
}

TEST(SearchDirContainer, RefusesInvalidCategories) {
    auto const dirs = IEditableSearchDirContainer::create();
    for (search_category_t const invalid : invalidCategories) {
        EXPECT_FALSE(dirs->addDirectory(invalid, "/a", false, false));
        EXPECT_FALSE(dirs->clear(invalid));
        EXPECT_FALSE(dirs->enumerate(invalid));
    }
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
    char const* name = "untouched";
    bool recursive = true;
    bool priority = true;
    EXPECT_FALSE(after->getCurrentRecord(name, recursive, priority));
    EXPECT_STREQ(name, "untouched");
    EXPECT_EQ(dirsOf(after), "/a p;/b r;");

    EXPECT_TRUE(before->getCurrentRecord(name, recursive, priority))
        << "a new iterator stands at the first record";
    EXPECT_STREQ(name, "/a");
    EXPECT_FALSE(recursive);
    EXPECT_FALSE(before->next());
}

} // namespace
} // namespace LK_2_13
