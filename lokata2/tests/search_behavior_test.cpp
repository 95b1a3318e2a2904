#include "lk_search_manipulator.h"
#include "on_threads.h"
#include "support/callbacks.h"
#include "temp_tree.h"

#include <lokata2/search_history.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace LK_2_13 {
namespace {

/// Searches for files of one category through one context with one directory, as a client of a
/// manipulator.
class SearchBehavior : public ::testing::TestWithParam<search_category_t> {
protected:
    void SetUp() override {
        m_tree.file("dir/present", "content");
        m_dirs->addDirectory(GetParam(), m_tree.path("dir").c_str(), false, true);
        m_manager->registerSearchDirs(*m_context, m_dirs, "dirs");
        m_manipulator = createSearchManipulatorByContext(m_context, nullptr, nullptr);
    }

    std::string find(char const* name, char const* clientId = "client") {
        auto const search = m_manager->createFileSearch(*m_context, clientId, nullptr);
        ObjectPtr<IValidFile> file;
        if (GetParam() == scSymbolFiles)
            file = search->findSymFile(name, "program", "sum", nullptr, nullptr, nullptr);
        else if (GetParam() == scSourceFiles)
            file = search->findSrcFile(name, "program", "sum", nullptr, nullptr);
        else
            file = search->findBinFile(name, nullptr, nullptr, 0);
        return file ? file->name() : "";
    }
    /// As the callbacks are asked for a file.
    std::string request(std::string const& name) const {
        return std::to_string(GetParam()) + " " + name +
               (GetParam() == scBinaryFiles ? "  " : " program sum");
    }

    /// The answer that is remembered for a name: "unknown" for none, "none" for no such file.
    std::string remembered(char const* name) {
        auto const history = m_manipulator->getHistory();
        auto const association =
            GetParam() == scSymbolFiles   ? history->findSymFileAssociation(name, "program", "sum")
            : GetParam() == scSourceFiles ? history->findSrcFileAssociation(name, "program", "sum")
                                          : history->findBinFileAssociation(name);
        if (!association)
            return "unknown";
        return association->resolvedName() == nullptr ? "none" : association->resolvedName();
    }

    TempTree m_tree;
    ObjectPtr<IResolutionContextMgr> m_manager = IResolutionContextMgr::create();
    ObjectPtr<IResolutionContext> m_context =
        m_manager->createFileSystemContext(m_tree.path("context").c_str(), false);
    ObjectPtr<IEditableSearchDirContainer> m_dirs = IEditableSearchDirContainer::create();
    ObjectPtr<ISearchManipulator> m_manipulator;
};

TEST_P(SearchBehavior, RemembersTheFirstFileAndSuggestsItUnlessTheClientStopsTheSearch) {
    m_manipulator->setFilesFoundBehavior("client", ffbUpdateHistory);
    m_manipulator->setSearchStartedBehavior("client", ssbSuggestFromHistory);
    std::string const present = m_tree.path("dir/present");
    EXPECT_EQ(find("present"), present);
    EXPECT_EQ(remembered("present"), present);

    m_dirs->clear(GetParam());
    EXPECT_EQ(find("present"), present) << "known from the history alone";
    EXPECT_EQ(find("present", "other"), "") << "the behaviour is that of one client";
    {
        bool goOn = true;
        test::Started own;
        own.on_started = [&](auto&&...) { return goOn; };
        m_manipulator->setOwnSearchStartedCallback("client", &own);
        EXPECT_EQ(find("present"), present);
        EXPECT_EQ(own.asked, request("present"));
        goOn = false;
        EXPECT_EQ(find("present"), "");
    }
    m_manipulator->setOwnSearchStartedCallback("client", nullptr);
    m_manipulator->setSearchStartedBehavior("client", ssbUseHistoryOnly);
    EXPECT_EQ(find("present"), "") << "found, but for the callback for nothing found alone";
    test::NotFound takeFirst;
    m_manipulator->setOwnNoFilesFoundCallback("client", &takeFirst);
    EXPECT_EQ(find("present"), present);
    EXPECT_EQ(takeFirst.asked, request("present"));
    m_manipulator->setOwnNoFilesFoundCallback("client", nullptr);
    m_manipulator->setSearchStartedBehavior("client", ssbNoHistory);
    m_dirs->addDirectory(GetParam(), m_tree.path("dir").c_str(), false, true);
    test::Found refuse;
    refuse.choose = [](auto&&) { return nullptr; };
    m_manipulator->setOwnFilesFoundCallback("client", &refuse);
    EXPECT_EQ(find("present"), present) << "something has to be remembered";
    EXPECT_EQ(refuse.asked, request("present"));
    m_manipulator->setFilesFoundBehavior("client", ffbNoHistory);
    EXPECT_EQ(find("present"), "");
    m_manipulator->setOwnFilesFoundCallback("client", nullptr);
}

TEST_P(SearchBehavior, AnAnswerOfNoFileStopsLaterSearches) {
    m_manipulator->setNoFilesFoundBehavior("client", nfbNoHistoryUpdate);
    EXPECT_EQ(find("absent"), "");
    EXPECT_EQ(remembered("absent"), "unknown");
    m_manipulator->setNoFilesFoundBehavior("client", nfbUpdateHistory);
    EXPECT_EQ(find("absent"), "");
    EXPECT_EQ(remembered("absent"), "none");

    m_tree.file("dir/absent", "now it is there");
    m_manipulator->setSearchStartedBehavior("client", ssbSuggestFromHistory);
    EXPECT_EQ(find("absent"), "");
    m_manipulator->setSearchStartedBehavior("client", ssbNoHistory);
    EXPECT_EQ(find("absent"), m_tree.path("dir/absent"));
}

TEST_P(SearchBehavior, TakesItsCapturesAndCallbacksAwayWhenItGoes) {
    for (char const* const client : {"client", static_cast<char const*>(nullptr)})
        for (bool const isTaken : {m_manipulator->setSearchStartedBehavior(client, ssbNoHistory),
                                   m_manipulator->setOwnSearchStartedCallback(client, nullptr),
                                   m_manipulator->setFilesFoundBehavior(client, ffbNoHistory),
                                   m_manipulator->setOwnFilesFoundCallback(client, nullptr),
                                   m_manipulator->setNoFilesFoundBehavior(client, nfbNoHistory),
                                   m_manipulator->setOwnNoFilesFoundCallback(client, nullptr),
                                   m_manipulator->setSearchDirsBehavior(client, sdbRelease)})
            EXPECT_EQ(isTaken, client != nullptr);
    m_manipulator->setFilesFoundBehavior("client", ffbUpdateHistory);
    m_manipulator->setSearchDirsBehavior("client", sdbCapture);
    m_manipulator->setSearchDirsBehavior("kept", static_cast<search_dirs_behavior_t>(2));
    m_manager->captureSearchDirs(*m_context, "kept");
    m_manipulator->setOwnFilesFoundCallback("kept", nullptr);
    auto const env = m_manager->createSearchEnv(*m_context, "kept", nullptr);
    m_tree.file("late/fresh", "content");
    m_dirs->addDirectory(GetParam(), m_tree.path("late").c_str(), false, true);
    EXPECT_EQ(find("fresh"), "");
    m_manipulator->setSearchDirsBehavior("client", sdbRelease);
    EXPECT_EQ(find("fresh"), m_tree.path("late/fresh"));
    m_manipulator->setSearchDirsBehavior("client", sdbCapture);
    m_tree.file("later/newest", "content");
    m_dirs->addDirectory(GetParam(), m_tree.path("later").c_str(), false, true);
    EXPECT_EQ(find("newest"), "");
    m_manipulator = nullptr;
    EXPECT_EQ(find("newest"), m_tree.path("later/newest"));
    EXPECT_EQ(find("fresh", "kept"), "") << "a capture of somebody else stays";
    EXPECT_FALSE(env->filesFoundCallback()->hasCallback());
}

TEST_P(SearchBehavior, ManipulatorsMayGoWhileSearchesRun) {
    constexpr int c_rounds = 30;
    std::atomic<int> found{0};
    auto const history = ISearchHistory::create();
    auto const manipulate = [&] {
        auto const manipulator = createSearchManipulatorByContext(m_context, nullptr, history);
        manipulator->setSearchDirsBehavior("client", sdbCapture);
        for (int turn = 0; turn < 20; ++turn)
            manipulator->setSearchStartedBehavior("client", turn % 2 == 0 ? ssbNoHistory
                                                                          : ssbSuggestFromHistory);
        manipulator->setFilesFoundBehavior("other", ffbUpdateHistory);
        manipulator->setNoFilesFoundBehavior("client", nfbUpdateHistory);
    };
    onThreads(3, [&](int number) {
        for (int round = 0; round < c_rounds; ++round)
            if (number == 0)
                manipulate();
            else
                found += find("present").empty() ? 0 : 1;
    });
    EXPECT_EQ(found, 2 * c_rounds);
}

INSTANTIATE_TEST_SUITE_P(Categories, SearchBehavior,
                         ::testing::Values(scBinaryFiles, scSymbolFiles, scSourceFiles));

TEST(SearchHistory, GivesTheLastAnswerToARequestThatIsEqualInEachField) {
    auto const history = ISearchHistory::create();
    EXPECT_FALSE(history->findBinFileAssociation("a"));
    auto const first = history->addBinFileAssociation("a", "/one");
    history->addBinFileAssociation("a", "/two");
    EXPECT_STREQ(history->findBinFileAssociation("a")->resolvedName(), "/two");
    EXPECT_STREQ(first->resolvedName(), "/one");
    EXPECT_EQ(history->addBinFileAssociation("a", "")->resolvedName(), nullptr);

    history->addSymFileAssociation("ab", "c", "", "/found");
    history->addSrcFileAssociation("ab", "c", "d", "/found");
    EXPECT_FALSE(history->findSymFileAssociation("a", "bc", ""));
    EXPECT_FALSE(history->findSymFileAssociation("AB", "c", ""));
    EXPECT_FALSE(history->findSrcFileAssociation("ab", "c", ""));

    auto const known = [&] {
        return std::string(history->findBinFileAssociation("a") ? "bin " : "") +
               (history->findSymFileAssociation("ab", "c", nullptr) ? "sym " : "") +
               (history->findSrcFileAssociation("ab", "c", "d") ? "src " : "");
    };
    EXPECT_EQ(known(), "bin sym src ");
    for (auto const& [category, left] :
         {std::pair(scSymbolFiles, "bin src "), std::pair(scBinaryFiles, "src "),
          std::pair(scAllFiles, "")}) {
        history->clear(category);
        EXPECT_EQ(known(), left);
    }
}

} // namespace
} // namespace LK_2_13
