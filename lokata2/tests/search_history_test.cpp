#include <lokata2/search_history.h>

#include <gtest/gtest.h>

namespace LK_2_13 {
namespace {

TEST(SearchHistory, KnowsNothingAtFirstAndTellsNoFileFromNoAnswer) {
    auto const history = ISearchHistory::create();
    EXPECT_FALSE(history->findBinFileAssociation("a"));
    history->addBinFileAssociation("a", nullptr);
    history->addBinFileAssociation("b", "");
    for (char const* name : {"a", "b"}) {
        auto const association = history->findBinFileAssociation(name);
        ASSERT_TRUE(association);
        EXPECT_EQ(association->resolvedName(), nullptr);
    }
}

TEST(SearchHistory, GivesTheLastAnswerAndKeepsEarlierOnesAlive) {
    auto const history = ISearchHistory::create();
    auto const first = history->addBinFileAssociation("a", "/one");
    history->addBinFileAssociation("a", "/two");
    EXPECT_STREQ(history->findBinFileAssociation("a")->resolvedName(), "/two");
    history->clear(scAllFiles);
    EXPECT_STREQ(first->resolvedName(), "/one");
}

TEST(SearchHistory, MatchesRequestsFieldByFieldWithNullAsEmpty) {
    auto const history = ISearchHistory::create();
    history->addSymFileAssociation("ab", "c", "", "/found");
    EXPECT_FALSE(history->findSymFileAssociation("a", "bc", ""));
    EXPECT_FALSE(history->findSymFileAssociation("AB", "c", ""));
    EXPECT_TRUE(history->findSymFileAssociation("ab", "c", nullptr));
    history->addSrcFileAssociation("x", nullptr, nullptr, "/x");
    EXPECT_TRUE(history->findSrcFileAssociation("x", "", ""));
}

TEST(SearchHistory, ClearsOneCategoryOrAllAndIgnoresOtherValues) {
    auto const history = ISearchHistory::create();
    auto const fill = [&] {
        history->addBinFileAssociation("f", "/f");
        history->addSymFileAssociation("f", "b", "c", "/f");
        history->addSrcFileAssociation("f", "b", "c", "/f");
    };
    auto const known = [&] {
        return (history->findBinFileAssociation("f") ? 1 : 0) +
               (history->findSymFileAssociation("f", "b", "c") ? 2 : 0) +
               (history->findSrcFileAssociation("f", "b", "c") ? 4 : 0);
    };
    struct {
        unsigned category;
        int left;
    } const cases[] = {
        {0, 7},         {5, 7}, {scBinaryFiles, 6}, {scSymbolFiles, 5}, {scSourceFiles, 3},
        {scAllFiles, 0}};
    for (auto const& [category, left] : cases) {
        fill();
        history->clear(static_cast<search_category_t>(category));
        EXPECT_EQ(known(), left) << "category " << category;
    }
}

} // namespace
} // namespace LK_2_13
