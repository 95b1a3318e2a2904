#include "lk_search.h"

#include "support/log_capture.h"
#include "support/scripted_search.h"
#include "support/temp_tree.h"

#include <optstore2/product_locations.h>

#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using namespace LK_2_13;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// What a callback for a symbol or source file hears.
std::string request(char const* category, char const* fileName, char const* binaryName,
                    char const* checksum) {
    return std::string(category) + " " + fileName + " " + binaryName + " " + checksum;
}

/// All four callbacks of an environment. Writes down what searches start with.
class Client {
public:
    class Started final : public ISearchStartedCallback {
    public:
        explicit Started(Client& client) : m_client(client) {}
        bool binFileSearchStarted(char const* fileName, IStringContainer& suggestions) override {
            m_client.started.emplace_back(fileName);
            return !m_client.onStarted || m_client.onStarted(suggestions);
        }
        bool symFileSearchStarted(char const* fileName, char const* binaryName,
                                  char const* checksum, IStringContainer& suggestions) override {
            return binFileSearchStarted(request("sym", fileName, binaryName, checksum).c_str(),
                                        suggestions);
        }
        bool srcFileSearchStarted(char const* fileName, char const* binaryName,
                                  char const* checksum, IStringContainer& suggestions) override {
            return binFileSearchStarted(request("src", fileName, binaryName, checksum).c_str(),
                                        suggestions);
        }

    private:
        Client& m_client;
    };

    class Found final : public IFilesFoundCallback {
    public:
        ~Found() override { disconnectHandlers(); }
        ObjectPtr<IValidFile> binFilesFound(char const* fileName,
                                            IValidFileIterator& files) override {
            heard = fileName;
            return choose(files);
        }
        ObjectPtr<IValidFile> symFilesFound(char const* fileName, char const* binaryName,
                                            char const* checksum,
                                            IValidFileIterator& files) override {
            return binFilesFound(request("sym", fileName, binaryName, checksum).c_str(), files);
        }
        ObjectPtr<IValidFile> srcFilesFound(char const* fileName, char const* binaryName,
                                            char const* checksum,
                                            IValidFileIterator& files) override {
            return binFilesFound(request("src", fileName, binaryName, checksum).c_str(), files);
        }

        std::string heard;
        std::function<ObjectPtr<IValidFile>(IValidFileIterator&)> choose;
    };

    class NotFound final : public INoFilesFoundCallback {
    public:
        ObjectPtr<IValidFile> noBinFilesFound(char const* fileName, IValidator& validator,
                                              IInvalidFileIterator& invalid,
                                              IValidFileIterator& valid) override {
            heard = fileName;
            return resolve(validator, invalid, valid);
        }
        ObjectPtr<IValidFile> noSymFilesFound(char const* fileName, char const* binaryName,
                                              char const* checksum, IValidator& validator,
                                              IInvalidFileIterator& invalid,
                                              IValidFileIterator& valid) override {
            return noBinFilesFound(request("sym", fileName, binaryName, checksum).c_str(),
                                   validator, invalid, valid);
        }
        ObjectPtr<IValidFile> noSrcFilesFound(char const* fileName, char const* binaryName,
                                              char const* checksum, IValidator& validator,
                                              IInvalidFileIterator& invalid,
                                              IValidFileIterator& valid) override {
            return noBinFilesFound(request("src", fileName, binaryName, checksum).c_str(),
                                   validator, invalid, valid);
        }

        std::string heard;
        std::function<ObjectPtr<IValidFile>(IValidator&, IInvalidFileIterator&,
                                            IValidFileIterator&)>
            resolve;
    };

    class Policy final : public IConfidenceLevelPolicyCallback {
    public:
        confidence_level_t getConfidenceLevel(search_category_t category,
                                              unsigned int step) override {
            return static_cast<confidence_level_t>(category * 1000 + step);
        }
    };

    std::function<bool(IStringContainer&)> onStarted;
    std::vector<std::string> started;
};

class SearchSequence : public testing::Test {
protected:
    SearchSequence() {
        m_strategy.validator = &m_validator;
        m_strategy.candidates[ssArchiveSearchDirs] = {m_a};
        m_strategy.candidates[ssSystemDirs] = {m_b};
        optstore2::IProductLocations::get()->setTempDirectory(m_tree.path("private").c_str());
    }
    ~SearchSequence() override { optstore2::IProductLocations::get()->setTempDirectory(nullptr); }

    void listenToStart() {
        m_env->setSearchStartedCallback(CallbackHolder<ISearchStartedCallback>(&m_started));
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

    test::TempTree m_tree;
    std::string m_a = m_tree.file("a");
    std::string m_b = m_tree.file("b");
    std::string m_c = m_tree.file("c");
    test::ScriptedStrategy m_strategy;
    test::ScriptedValidator m_validator;
    ObjectPtr<IEditableSearchEnv> m_env = IEditableSearchEnv::create();
    Client m_client;
    Client::Started m_started{m_client};
    Client::Found m_found;
    Client::NotFound m_notFound;
};

TEST_F(SearchSequence, WithoutAnEnvironmentGivesTheFirstFileOfTheSteps) {
    m_env = ObjectPtr<IEditableSearchEnv>();
    test::LogCapture const log;
    EXPECT_EQ(find(), m_a);
    EXPECT_EQ(m_strategy.selector, 5U);
    m_validator.refused = {m_a, m_b};
    EXPECT_EQ(find(), "nothing");
    std::string const dirs = "[ISearchEnv: searchDirs = NULL pointer]";
    EXPECT_EQ(log.records().front().text, "Search environment: m_pSearchEnv(scBinaryFiles) = " +
                                              dirs + ", m_pSearchEnv(scSymbolFiles) = " + dirs +
                                              ", m_pSearchEnv(scSourceFiles) = " + dirs +
                                              ", m_pSearchEnv(scAllFiles) = " + dirs + "\n");
    EXPECT_THAT(log.text(), HasSubstr("Suggested resolutions after callback: suggestedResolutions: "
                                      "[StringContainer: m_list = ]\n"));
    EXPECT_THAT(log.text(),
                HasSubstr("Returning the first found, no filesFoundCallback established\n"));
    EXPECT_EQ(log.records().back().text,
              "Returning the NULL result, no noFilesFoundCallback established\n");
}

TEST_F(SearchSequence, AValidSuggestionIsTheFirstResultUnlessTheStartIsRefused) {
    listenToStart();
    m_client.onStarted = [&](IStringContainer& suggestions) {
        suggestions.add(m_b.c_str());
        return true;
    };
    EXPECT_EQ(find(m_c.c_str()), m_c);
    EXPECT_THAT(m_validator.asked, ElementsAre(m_c, m_b));
    EXPECT_THAT(m_strategy.ran, IsEmpty());

    m_client.onStarted = [](IStringContainer&) { return false; };
    EXPECT_EQ(find(m_c.c_str()), "nothing");
    listenToNotFound();
    m_notFound.resolve = [](IValidator&, IInvalidFileIterator&, IValidFileIterator& valid) {
        return valid.next();
    };
    EXPECT_EQ(find(m_c.c_str()), m_c);
    EXPECT_THAT(m_strategy.ran, IsEmpty());
}

TEST_F(SearchSequence, TheChoiceAmongFilesRunsAsManyStepsAsItPulls) {
    listenToFound(&m_found);
    m_found.choose = [](IValidFileIterator& files) { return files.next(); };
    EXPECT_EQ(find(), m_a);
    EXPECT_THAT(m_strategy.ran, ElementsAre(ssArchiveSearchDirs));

    m_found.choose = [](IValidFileIterator& files) {
        files.next();
        return files.next();
    };
    test::LogCapture const log;
    EXPECT_EQ(find(), m_b);
    EXPECT_EQ(log.records().back().text,
              "Returning the result = " + m_b + " after pFilesFoundCallback\n");
}

TEST_F(SearchSequence, ARejectedChoiceEndsInTheCallbackForNothingFound) {
    m_validator.refused = {m_b};
    listenToFound(&m_found);
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
    test::LogCapture const log;
    EXPECT_EQ(find(), m_b);
    EXPECT_EQ(log.records().back().text,
              "Returning the result = " + m_b + " after pNoFilesFoundCallback\n");

    m_notFound.resolve = [](auto&...) { return ObjectPtr<IValidFile>(); };
    EXPECT_EQ(find(), "nothing");
    EXPECT_EQ(log.records().back().text, "Nothing found after pNoFilesFoundCallback\n");
}

TEST_F(SearchSequence, AllCallbacksHearOfTheFileItsBinaryAndTheChecksum) {
    listenToStart();
    listenToFound(&m_found);
    listenToNotFound();
    m_found.choose = [](auto&) { return ObjectPtr<IValidFile>(); };
    m_notFound.resolve = [](auto&...) { return ObjectPtr<IValidFile>(); };
    auto const search = IFileSearch::create(ObjectPtr<ISearchEnv>(m_env));
    auto const allHeard = [&](std::string const& what) {
        EXPECT_EQ(m_client.started.back(), what);
        EXPECT_EQ(m_found.heard, what);
        EXPECT_EQ(m_notFound.heard, what);
    };
    search->findBinFile("b/./x", nullptr, m_a.c_str(), 0);
    allHeard("b/x");
    search->findSymFile("s/", "b/./x", "C/", nullptr, m_a.c_str(), nullptr);
    allHeard("sym s b/x C/");
    search->findSrcFile("s/", "b/./x", "C/", nullptr, m_a.c_str());
    allHeard("src s b/x C/");
}

TEST_F(SearchSequence, ACallbackThatGoesOnAnotherThreadIsNoLongerAsked) {
    auto found = std::make_unique<Client::Found>();
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

TEST_F(SearchSequence, ThePolicyOfTheEnvironmentIsAskedThroughTheWrapper) {
    Client::Policy policy;
    ConfidenceLevelPolicyWrapper wrapper{ObjectPtr<ISearchEnv>(m_env)};
    EXPECT_EQ(wrapper.getConfidenceLevel(scSourceFiles, 0x10020), clAccept);
    m_env->setConfidenceLevelPolicyCallback(
        CallbackHolder<IConfidenceLevelPolicyCallback>(&policy));
    EXPECT_EQ(static_cast<int>(wrapper.getConfidenceLevel(scSourceFiles, 20)), 3020);
    EXPECT_EQ(ConfidenceLevelPolicyWrapper(ObjectPtr<ISearchEnv>())
                  .getConfidenceLevel(scSourceFiles, ssSystemDirs),
              clAccept);
}

class Retriever final : public IFileRetriever {
public:
    int retrieveFile(char const* name, char const* targetDir) override {
        target = targetDir;
        std::filesystem::create_directories(std::filesystem::path(target + name).parent_path());
        std::ofstream(target + name) << "fetched";
        return 0;
    }
    int retrieveChecksum(char const*, ObjectPtr<IChecksum>&) override { return 1; }
    char const* machineName() const override { return ""; }
    bool isLocalFile(std::string const&) override { return false; }

    std::string target;
};

TEST_F(SearchSequence, FilesOfARetrieverPassThroughADirectoryThatGoesWithTheSearch) {
    Retriever retriever;
    m_env->setFileRetriever(&retriever);
    m_env->setCacheDir(m_tree.dir("cache").c_str());
    auto search = IFileSearch::create(ObjectPtr<ISearchEnv>(m_env));
    auto const file = search->findBinFile("/opt/x/tool", nullptr, nullptr, 0);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->searchStep(), ssAbsoluteNameLookup);
    EXPECT_EQ(test::contentOf(file->name()), "fetched");
    EXPECT_THAT(retriever.target, testing::StartsWith(m_tree.path("private/lk-")));
    EXPECT_TRUE(std::filesystem::exists(retriever.target));
    search = ObjectPtr<IFileSearch>();
    EXPECT_FALSE(std::filesystem::exists(retriever.target));
}

TEST_F(SearchSequence, AKernelIsSearchedAnewUnderTheNamesOfItsRelease) {
    listenToStart();
    m_client.onStarted = [](IStringContainer&) { return false; };
    auto const search = IFileSearch::create(ObjectPtr<ISearchEnv>(m_env));
    auto const startedBy = [&](char const* fileName) {
        m_client.started.clear();
        EXPECT_FALSE(search->findBinFile(fileName, nullptr, nullptr, 0));
        return m_client.started;
    };
    EXPECT_THAT(startedBy("vmlinux"), ElementsAre("vmlinux"));
    auto const info = IEditableEnvironmentInfo::create();
    m_env->setEnvironmentInfo(ObjectPtr<IEnvironmentInfo>(info));
    EXPECT_THAT(startedBy("vmlinux"), ElementsAre("vmlinux"));
    info->setKernelRelease("no.such");
    EXPECT_THAT(startedBy("/x/vmlinux"),
                ElementsAre("/x/vmlinux", "/boot/vmlinux-no.such", "/boot/vmlinuz-no.such"));
    EXPECT_THAT(startedBy("vmlinux.1"), ElementsAre("vmlinux.1"));
    EXPECT_THAT(startedBy("vmlinux/"), ElementsAre("vmlinux"));
}

TEST_F(SearchSequence, ANameThatIsMissingSearchesNothing) {
    listenToStart();
    auto const search = IFileSearch::create(ObjectPtr<ISearchEnv>(m_env));
    test::LogCapture const log;
    EXPECT_THROW(search->findBinFile(nullptr, nullptr, nullptr, 0), std::logic_error);
    for (char const* const name : {static_cast<char const*>(nullptr), ""}) {
        EXPECT_FALSE(search->findSymFile(name, "b", "c", nullptr, m_a.c_str(), nullptr));
        EXPECT_FALSE(search->findSrcFile(name, "b", "c", nullptr, m_a.c_str()));
    }
    EXPECT_THAT(m_client.started, IsEmpty());
    EXPECT_EQ(log.text(), "");

    auto const bare = IFileSearch::create(ObjectPtr<ISearchEnv>());
    EXPECT_FALSE(bare->findBinFile("/no/such/vmlinux", nullptr, nullptr, 0));
    EXPECT_STREQ(
        bare->findSymFile("x.dbg", nullptr, nullptr, nullptr, m_a.c_str(), nullptr)->name(),
        m_a.c_str());
    EXPECT_THAT(log.text(), HasSubstr("Searching bin file:/no/such/vmlinux\n"));
    EXPECT_THAT(log.text(), HasSubstr("Searching sym file:x.dbg, binary file:, checksum:\n"));
}

} // namespace
