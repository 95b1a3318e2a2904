#include "lk_search_types.h"

#include "support/callbacks.h"
#include "support/private_dir.h"
#include "support/retriever.h"
#include "temp_tree.h"

#include <lokata2/file_search.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using namespace LK_2_13;
using testing::ElementsAre;
using testing::StartsWith;

/// Looks for "tool", of which an archive and a directory of low priority each have one.
class SearchSequence : public testing::Test {
protected:
    SearchSequence() {
        auto const archives = IEditableSearchDirContainer::create();
        archives->addDirectory(scBinaryFiles, m_tree.path("kept").c_str(), false, false);
        m_env->setArchiveDirs(archives);
        m_env->setSearchDirs(m_dirs);
        m_dirs->addDirectory(scBinaryFiles, m_tree.path("low").c_str(), false, false);
        m_env->setSearchStartedCallback(CallbackHolder<ISearchStartedCallback>(&m_started));
        listenToFound(&m_found);
    }

    void listenToFound(IFilesFoundCallback* callback) {
        m_env->setFilesFoundCallback(CallbackHolder<IFilesFoundCallback>(callback));
    }
    void listenToNotFound() {
        m_env->setNoFilesFoundCallback(CallbackHolder<INoFilesFoundCallback>(&m_notFound));
    }

    /// The name of the result; "nothing" for none.
    std::string find(char const* suggestion = nullptr) {
        auto const file = IFileSearch::create(m_env)->findBinFile("tool", &m_user, suggestion, 0);
        return file ? file->name() : "nothing";
    }

    TempTree m_tree;
    std::string m_kept = m_tree.file("kept/tool/0/tool");
    std::string m_low = m_tree.file("low/tool");
    std::string m_c = m_tree.file("c");
    test::PrivateDir m_private{m_tree.path("private")};
    ObjectPtr<IEditableSearchDirContainer> m_dirs = IEditableSearchDirContainer::create();
    ObjectPtr<IEditableSearchEnv> m_env = IEditableSearchEnv::create();
    test::UserValidator m_user;
    test::Started m_started;
    test::Found m_found;
    test::NotFound m_notFound;
};

TEST_F(SearchSequence, RunsTheNextStepOnlyWhenTheFilesFoundAreUsedUp) {
    std::string const high = m_tree.file("high/tool");
    std::string const cached = m_tree.file("cache/tool/1/tool");
    m_dirs->addDirectory(scBinaryFiles, m_tree.path("high").c_str(), false, true);
    m_env->setCacheDir(m_tree.path("cache").c_str());
    auto const configurator = ISearchStepsConfigurator::create();
    configurator->setStep(ssCacheSearchDir, scBinaryFiles, true);
    m_env->setSearchStepsConfigurator(configurator);
    m_user.rejected = {high};
    std::vector<unsigned> steps;
    m_found.choose = [&](IValidFileIterator& files) {
        EXPECT_THAT(m_user.asked, ElementsAre(m_kept));
        while (auto const file = files.next()) {
            EXPECT_EQ(m_user.asked.back(), file->name());
            steps.push_back(file->searchStep());
        }
        EXPECT_FALSE(files.next());
        files.reset();
        EXPECT_THAT(test::namesOf(files), ElementsAre(m_kept, cached, m_low));
        files.reset();
        files.next();
        return files.next();
    };
    EXPECT_EQ(find(), cached);
    EXPECT_THAT(steps, ElementsAre(ssArchiveSearchDirs, ssCacheSearchDir, ssLowPrioritySearchDirs));
    EXPECT_THAT(m_user.asked, ElementsAre(m_kept, high, cached, m_low));
    m_found.choose = nullptr;
    m_user.asked.clear();
    EXPECT_EQ(find(), m_kept);
    EXPECT_THAT(m_user.asked, ElementsAre(m_kept));
}

TEST_F(SearchSequence, KeepsAPathOnceInEachListHoweverItIsWritten) {
    std::string const rejected = m_tree.file("rejected");
    std::string const otherForm = m_tree.path("./rejected");
    m_started.on_started = [&](char const*, IStringContainer& suggestions) {
        for (std::string const& name :
             {m_c, m_tree.path("./c"), rejected, otherForm, m_tree.path("none")})
            suggestions.add(name.c_str());
        return false;
    };
    m_user.rejected = {rejected, otherForm};
    listenToNotFound();
    m_notFound.resolve = [&](IValidator&, IInvalidFileIterator& invalid,
                             IValidFileIterator& valid) {
        EXPECT_THAT(test::namesOf(valid), ElementsAre(m_c));
        auto const first = invalid.next();
        EXPECT_FALSE(invalid.next());
        auto forced = first->forceTreatAsValid();
        EXPECT_EQ(forced->searchStep(), ssAskUser);
        EXPECT_EQ(forced->confidence(), cfValidated);
        return forced;
    };
    EXPECT_EQ(find(), rejected);
    EXPECT_STREQ(InvalidFile(R"(./C:\prog)", svError, "", ssAskUser).forceTreatAsValid()->name(),
                 R"(C:\prog)");
}

TEST_F(SearchSequence, AValidSuggestionIsTheFirstResultUnlessTheStartIsRefused) {
    m_started.on_started = [&](char const*, IStringContainer& suggestions) {
        suggestions.add(m_low.c_str());
        return true;
    };
    EXPECT_EQ(find(m_c.c_str()), m_c);
    EXPECT_THAT(m_user.asked, ElementsAre(m_c, m_low));

    m_started.on_started = [](auto&&...) { return false; };
    EXPECT_EQ(find(m_c.c_str()), "nothing");
    listenToNotFound();
    EXPECT_EQ(find(m_c.c_str()), m_c);
    EXPECT_THAT(m_user.asked, ElementsAre(m_c, m_low, m_c, m_c)) << "no step ran";
}

TEST_F(SearchSequence, ARejectedChoiceEndsInTheCallbackForNothingFound) {
    m_user.rejected = {m_low};
    listenToNotFound();
    m_found.choose = [](IValidFileIterator& files) {
        EXPECT_EQ(test::namesOf(files).size(), 1U);
        return ObjectPtr<IValidFile>();
    };
    m_notFound.resolve = [&](IValidator& validator, IInvalidFileIterator& invalid,
                             IValidFileIterator& valid) {
        // Waits forever if the search still holds the callback that has had its turn.
        LKLockWrap const guard(m_found.getLock().get());
        EXPECT_THAT(test::namesOf(valid), ElementsAre(m_kept));
        EXPECT_EQ(validator.validate(m_c.c_str())->validFile()->searchStep(), ssAskUser);
        return invalid.next()->forceTreatAsValid();
    };
    EXPECT_EQ(find(), m_low);
}

TEST_F(SearchSequence, ACallbackThatGoesOnAnotherThreadIsNoLongerAsked) {
    auto found = std::make_unique<test::Found>();
    std::atomic<bool> asked = false;
    found->choose = [&](IValidFileIterator&) {
        asked = true;
        return ObjectPtr<IValidFile>();
    };
    listenToFound(found.get());
    std::thread searches([&] {
        while (find() == "nothing") {
        }
    });
    while (!asked)
        std::this_thread::yield();
    found.reset();
    searches.join();
    EXPECT_EQ(find(), m_kept);
}

TEST_F(SearchSequence, FilesOfARetrieverPassThroughADirectoryThatGoesWithTheSearch) {
    test::Retriever retriever;
    m_env->setFileRetriever(&retriever);
    m_env->setCacheDir(m_tree.dir("cache").c_str());
    auto search = IFileSearch::create(m_env);
    auto const file = search->findBinFile("/opt/x/other", nullptr, nullptr, 0);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->searchStep(), ssAbsoluteNameLookup);
    EXPECT_EQ(contentOf(file->name()), "content");
    ASSERT_THAT(retriever.asked[0], StartsWith("/opt/x/other to " + m_tree.path("private/lk-")));
    std::string const target = retriever.asked[0].substr(std::strlen("/opt/x/other to "));
    EXPECT_TRUE(std::filesystem::exists(target));
    search = nullptr;
    EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(SearchSequence, LooksForAKernelAnewUnderTheNamesOfItsRelease) {
    std::vector<std::string> names;
    m_started.on_started = [&](char const* fileName, IStringContainer&) {
        names.emplace_back(fileName);
        return false;
    };
    auto const search = IFileSearch::create(m_env);
    auto const startedBy = [&](char const* fileName) {
        names.clear();
        EXPECT_FALSE(search->findBinFile(fileName, nullptr, nullptr, 0));
        return names;
    };
    EXPECT_THAT(startedBy("vmlinux"), ElementsAre("vmlinux"));
    auto const info = IEditableEnvironmentInfo::create();
    m_env->setEnvironmentInfo(info);
    EXPECT_THAT(startedBy("vmlinux"), ElementsAre("vmlinux"));
    info->setKernelRelease("no.such");
    EXPECT_THAT(startedBy("/x/vmlinux"),
                ElementsAre("/x/vmlinux", "/boot/vmlinux-no.such", "/boot/vmlinuz-no.such"));
    EXPECT_THAT(startedBy("vmlinux.1"), ElementsAre("vmlinux.1"));
    EXPECT_THAT(startedBy("vmlinux/"), ElementsAre("vmlinux"));

    test::Retriever retriever;
    retriever.local = "vmlinux";
    m_env->setFileRetriever(&retriever);
    m_env->setCacheDir(m_tree.dir("cache").c_str());
    m_env->setSearchStartedCallback(CallbackHolder<ISearchStartedCallback>());
    auto const found = IFileSearch::create(m_env)->findBinFile("vmlinux", nullptr, nullptr, 0);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->confidence(), cfPolicyHigh);
    EXPECT_THAT(retriever.asked, ElementsAre(StartsWith("/boot/vmlinux-no.such to ")));
}

TEST_F(SearchSequence, NeedsNoEnvironmentAndNoName) {
    auto const search = IFileSearch::create(nullptr);
    EXPECT_THROW(search->findBinFile(nullptr, nullptr, nullptr, 0), std::logic_error);
    for (char const* const none : {"", static_cast<char const*>(nullptr), "no/such"}) {
        EXPECT_FALSE(search->findBinFile(none != nullptr ? none : "", nullptr, nullptr, 0));
        EXPECT_FALSE(search->findSymFile(none, "x", nullptr, nullptr, nullptr, nullptr));
        EXPECT_FALSE(search->findSrcFile(none, nullptr, nullptr, nullptr, nullptr));
    }
    for (auto const& file : {search->findBinFile(m_c.c_str(), nullptr, nullptr, 0),
                             search->findSymFile(m_c.c_str(), "", "", nullptr, nullptr, nullptr),
                             search->findSrcFile(m_c.c_str(), "", "", nullptr, nullptr)}) {
        ASSERT_TRUE(file);
        EXPECT_EQ(file->searchStep(), ssAbsoluteNameLookup);
        EXPECT_EQ(file->confidence(), cfPolicyHigh);
    }
}

} // namespace
