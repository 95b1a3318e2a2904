#include "lk_search.h"
#include "lk_search_impl.h"

#include "support/callbacks.h"
#include "support/private_dir.h"
#include "support/retriever.h"
#include "support/scripted_search.h"
#include "temp_tree.h"

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
using testing::IsEmpty;
using testing::StartsWith;

class LazyResults : public testing::Test {
protected:
    TempTree m_tree;
    std::string m_a = m_tree.file("a");
    std::string m_b = m_tree.file("b");
    std::string m_c = m_tree.file("c");
    test::ScriptedStrategy m_strategy;
    test::ScriptedValidator m_validator;
};

/// Counts the calls that come through the virtual table, as that after each step has to.
class CountedCalls final : public FoundFilesLazyIterator {
public:
    using FoundFilesLazyIterator::FoundFilesLazyIterator;
    ObjectPtr<IValidFile> next() override {
        ++calls;
        return FoundFilesLazyIterator::next();
    }
    int calls = 0;
};

TEST_F(LazyResults, RunsTheNextStepOnlyWhenTheFilesFoundAreUsedUp) {
    m_strategy.candidates[ssHighPrioritySearchDirs] = {m_a, m_b};
    m_strategy.candidates[ssLowPrioritySearchDirs] = {m_b, m_a};
    m_strategy.candidates[ssSystemDirs] = {m_c};
    m_validator.rejected = {m_b};
    CountedCalls files(m_strategy, m_validator, 0x100000007);
    EXPECT_EQ(m_strategy.selector, 0x100000007U);
    EXPECT_THAT(m_strategy.ran, IsEmpty());

    EXPECT_EQ(files.next()->name(), m_a);
    EXPECT_EQ(m_strategy.ran.back(), ssHighPrioritySearchDirs);
    EXPECT_EQ(files.calls, 3) << "archive directories, high priority directories, the file";
    files.reset();
    EXPECT_THAT(test::namesOf(files), ElementsAre(m_a, m_c));
    EXPECT_THAT(m_strategy.ran,
                ElementsAre(ssArchiveSearchDirs, ssHighPrioritySearchDirs, ssAbsoluteNameLookup,
                            ssAroundBinaryLookup, ssLowPrioritySearchDirs, ssSystemDirs));
    EXPECT_FALSE(files.next());
    EXPECT_EQ(m_strategy.ran.size(), 6U);
}

TEST_F(LazyResults, FilesTheFirstEntryOfAPathInEachListApart) {
    FoundFilesLazyIterator files(m_strategy, m_validator, 0);
    std::string const otherForm = m_tree.root() + "/./a";
    EXPECT_FALSE(files.validateAndAdd("/none", ssAbsoluteNameLookup));
    EXPECT_TRUE(files.validateAndAdd(m_a.c_str(), ssAbsoluteNameLookup));
    EXPECT_FALSE(files.validateAndAdd(otherForm.c_str(), ssSystemDirs));
    m_validator.rejected = {m_a, otherForm};
    EXPECT_FALSE(files.validateAndAdd(otherForm.c_str(), ssSystemDirs));
    EXPECT_FALSE(files.validateAndAdd(m_a.c_str(), ssAskUser));
    files.currentlyFoundInvalid()->reset();
    ObjectPtr<IInvalidFile> const invalid = files.currentlyFoundInvalid()->next();
    EXPECT_EQ(invalid->name(), m_a);
    ObjectPtr<IValidFile> const forced = invalid->forceTreatAsValid();
    EXPECT_EQ(forced->searchStep(), ssSystemDirs);
    EXPECT_EQ(forced->confidence(), cfValidated);
    EXPECT_STREQ(InvalidFile(R"(./C:\prog)", svError, "", ssAskUser).forceTreatAsValid()->name(),
                 R"(C:\prog)");
    EXPECT_FALSE(files.currentlyFoundInvalid()->next());
    files.currentlyFoundValid()->reset();
    EXPECT_THAT(test::namesOf(*files.currentlyFoundValid()), ElementsAre(m_a));
    EXPECT_THAT(m_strategy.ran, IsEmpty());
}

class SearchSequence : public LazyResults {
protected:
    SearchSequence() {
        m_strategy.validator = &m_validator;
        m_strategy.candidates[ssArchiveSearchDirs] = {m_a};
        m_strategy.candidates[ssSystemDirs] = {m_b};
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
        auto const file = FileSearch(ObjectPtr<ISearchEnv>(m_env))
                              .findFile(m_strategy, m_validator, suggestion, 5);
        return file ? file->name() : "nothing";
    }

    test::PrivateDir m_private{m_tree.path("private")};
    ObjectPtr<IEditableSearchEnv> m_env = IEditableSearchEnv::create();
    test::Started m_started;
    test::Found m_found;
    test::NotFound m_notFound;
};

TEST_F(SearchSequence, AValidSuggestionIsTheFirstResultUnlessTheStartIsRefused) {
    m_started.on_started = [&](char const*, IStringContainer& suggestions) {
        suggestions.add(m_b.c_str());
        return true;
    };
    EXPECT_EQ(find(m_c.c_str()), m_c);
    EXPECT_THAT(m_validator.asked, ElementsAre(m_c, m_b));
    EXPECT_THAT(m_strategy.ran, IsEmpty());

    m_started.on_started = [](auto&&...) { return false; };
    EXPECT_EQ(find(m_c.c_str()), "nothing");
    listenToNotFound();
    EXPECT_EQ(find(m_c.c_str()), m_c);
    EXPECT_THAT(m_strategy.ran, IsEmpty());
}

TEST_F(SearchSequence, TheChoiceAmongFilesRunsAsManyStepsAsItPulls) {
    EXPECT_EQ(find(), m_a);
    EXPECT_THAT(m_strategy.ran, ElementsAre(ssArchiveSearchDirs));

    m_found.choose = [](IValidFileIterator& files) {
        files.next();
        return files.next();
    };
    EXPECT_EQ(find(), m_b);
}

TEST_F(SearchSequence, ARejectedChoiceEndsInTheCallbackForNothingFound) {
    m_validator.rejected = {m_b};
    listenToNotFound();
    m_found.choose = [](IValidFileIterator& files) {
        EXPECT_EQ(test::namesOf(files).size(), 1U);
        return ObjectPtr<IValidFile>();
    };
    m_notFound.resolve = [&](IValidator& validator, IInvalidFileIterator& invalid,
                             IValidFileIterator& valid) {
        // Waits forever if the search still holds the callback that has had its turn.
        LKLockWrap const guard(m_found.getLock().get());
        EXPECT_THAT(test::namesOf(valid), ElementsAre(m_a));
        EXPECT_EQ(validator.validate(m_c.c_str())->validFile()->searchStep(), ssAskUser);
        return invalid.next()->forceTreatAsValid();
    };
    EXPECT_EQ(find(), m_b);
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
    EXPECT_EQ(find(), m_a);
}

TEST_F(SearchSequence, FilesOfARetrieverPassThroughADirectoryThatGoesWithTheSearch) {
    test::Retriever retriever;
    m_env->setFileRetriever(&retriever);
    m_env->setCacheDir(m_tree.dir("cache").c_str());
    auto search = IFileSearch::create(m_env);
    auto const file = search->findBinFile("/opt/x/tool", nullptr, nullptr, 0);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->searchStep(), ssAbsoluteNameLookup);
    EXPECT_EQ(contentOf(file->name()), "content");
    ASSERT_THAT(retriever.asked[0], StartsWith("/opt/x/tool to " + m_tree.path("private/lk-")));
    std::string const target = retriever.asked[0].substr(std::strlen("/opt/x/tool to "));
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

TEST_F(LazyResults, NeedNoEnvironmentAndNoName) {
    auto const search = IFileSearch::create(nullptr);
    EXPECT_THROW(search->findBinFile(nullptr, nullptr, nullptr, 0), std::logic_error);
    for (char const* const none : {"", static_cast<char const*>(nullptr), "no/such"}) {
        EXPECT_FALSE(search->findBinFile(none != nullptr ? none : "", nullptr, nullptr, 0));
        EXPECT_FALSE(search->findSymFile(none, "x", nullptr, nullptr, nullptr, nullptr));
        EXPECT_FALSE(search->findSrcFile(none, nullptr, nullptr, nullptr, nullptr));
    }
    for (auto const& file : {search->findBinFile(m_a.c_str(), nullptr, nullptr, 0),
                             search->findSymFile(m_a.c_str(), "", "", nullptr, nullptr, nullptr),
                             search->findSrcFile(m_a.c_str(), "", "", nullptr, nullptr)}) {
        ASSERT_TRUE(file);
        EXPECT_EQ(file->searchStep(), ssAbsoluteNameLookup);
        EXPECT_EQ(file->confidence(), cfPolicyHigh);
    }
}

} // namespace
