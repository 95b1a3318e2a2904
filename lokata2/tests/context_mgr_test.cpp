#include "lk_context.h"
#include "support/dir_records.h"
#include "support/log_capture.h"
#include "support/temp_tree.h"

#include <herald2/messenger.h>

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>

namespace LK_2_13 {
namespace {

using test::dirsOf;

class Policy : public IConfidenceLevelPolicyCallback {
public:
    confidence_level_t getConfidenceLevel(search_category_t, unsigned int) override {
        return clReject;
    }
};

class Started : public ISearchStartedCallback {
public:
    bool binFileSearchStarted(char const*, IStringContainer&) override { return true; }
    bool symFileSearchStarted(char const*, char const*, char const*, IStringContainer&) override {
        return true;
    }
    bool srcFileSearchStarted(char const*, char const*, char const*, IStringContainer&) override {
        return true;
    }
};

class Files : public IFilesFoundCallback {
public:
    ObjectPtr<IValidFile> binFilesFound(char const*, IValidFileIterator&) override { return {}; }
    ObjectPtr<IValidFile> symFilesFound(char const*, char const*, char const*,
                                        IValidFileIterator&) override {
        return {};
    }
    ObjectPtr<IValidFile> srcFilesFound(char const*, char const*, char const*,
                                        IValidFileIterator&) override {
        return {};
    }
};

class NoFiles : public INoFilesFoundCallback {
public:
    ObjectPtr<IValidFile> noBinFilesFound(char const*, IValidator&, IInvalidFileIterator&,
                                          IValidFileIterator&) override {
        return {};
    }
    ObjectPtr<IValidFile> noSymFilesFound(char const*, char const*, char const*, IValidator&,
                                          IInvalidFileIterator&, IValidFileIterator&) override {
        return {};
    }
    ObjectPtr<IValidFile> noSrcFilesFound(char const*, char const*, char const*, IValidator&,
                                          IInvalidFileIterator&, IValidFileIterator&) override {
        return {};
    }
};

class Messenger : public herald2::IMessenger {
public:
    void message(herald2::message_kind_t, char const*) override {}
};

template <class T>
T* callbackIn(CallbackHolder<T>* holder) {
    return CallbackAccessor<T>(*holder).get();
}

/// A child, its parent and its grandparent.
class Contexts : public ::testing::Test {
protected:
    void SetUp() override {
        m_manager->addInheritance(*m_child, *m_parent);
        m_manager->addInheritance(*m_parent, *m_grandparent);
    }

    ObjectPtr<IResolutionContext> context(char const* dir) {
        return m_manager->createFileSystemContext(dir, false);
    }

    ObjectPtr<IEditableSearchDirContainer> registerDir(ObjectPtr<IResolutionContext> const& where,
                                                       char const* dir, char const* key = "key") {
        auto dirs = IEditableSearchDirContainer::create();
        dirs->addDirectory(scBinaryFiles, dir, false, false);
        m_manager->registerSearchDirs(*where, dirs, key);
        return dirs;
    }

    ObjectPtr<ISearchEnv> env(char const* clientId, ObjectPtr<IResolutionContext> const& where) {
        return m_manager->createSearchEnv(*where, clientId, nullptr);
    }

    std::string binDirs(char const* clientId, ObjectPtr<IResolutionContext> const& where) {
        return dirsOf(env(clientId, where)->searchDirs(scBinaryFiles));
    }
    std::string binDirs(char const* clientId) { return binDirs(clientId, m_child); }

    ResolutionContextMgr& internals() { return static_cast<ResolutionContextMgr&>(*m_manager); }

    ObjectPtr<IResolutionContextMgr> m_manager = IResolutionContextMgr::create();
    ObjectPtr<IResolutionContext> m_child = context("/child");
    ObjectPtr<IResolutionContext> m_parent = context("/parent");
    ObjectPtr<IResolutionContext> m_grandparent = context("/grandparent");
};

TEST(ContextMgr, IsOneAndStartsEmptyAfterItsLastReference) {
    auto manager = IResolutionContextMgr::create();
    EXPECT_EQ(manager.get(), IResolutionContextMgr::create().get());
    BasicResolutionContext context("/somewhere");
    manager->registerArchiveDir(context, "/archive");
    manager = nullptr;
    manager = IResolutionContextMgr::create();
    EXPECT_FALSE(manager->createSearchEnv(context, "client", nullptr)->archiveDirs(scAllFiles));
}

TEST_F(Contexts, AreTheSameForEqualIdsWhateverTheObject) {
    BasicResolutionContext copy(*context("/child/./x/.."));
    EXPECT_STREQ(copy.getUniqueID(), "/child");
    ObjectPtr<IMetadata> const metadata = internals().getMetadataForContext(*m_child);
    EXPECT_EQ(internals().getMetadataForContext(copy).get(), metadata.get());
    EXPECT_NE(internals().getMetadataForContext(*context("/Child")).get(), metadata.get());
}

TEST_F(Contexts, HaveOneParentTheLastOne) {
    EXPECT_STREQ(internals().getParentContext(*m_child)->getUniqueID(), "/parent");
    EXPECT_TRUE(m_manager->addInheritance(*m_child, *m_grandparent));
    EXPECT_STREQ(internals().getParentContext(*m_child)->getUniqueID(), "/grandparent");
    EXPECT_FALSE(internals().getParentContext(*m_grandparent));
}

TEST_F(Contexts, AreMadeFromDirectoriesAndTheUser) {
    test::LogCapture const log;
    EXPECT_STREQ(m_manager->createFileSystemContext("/a/./b/", true)->getUniqueID(), "/a/b/");
    EXPECT_FALSE(m_manager->createFileSystemContext(nullptr, false));
    EXPECT_FALSE(m_manager->createFileSystemContext("", false));
    EXPECT_EQ(log.text(), "ContextId: /a/./b/\nNo context created!\nNo context created!\n");
    EXPECT_STREQ(m_manager->createUserWideContext()->getUniqueID(), utils::getUserId().c_str());
}

TEST_F(Contexts, OfAClientMayLiveOnTheStackAndHaveNoId) {
    class Nameless : public RefCountImpl<IResolutionContext> {
    public:
        char const* getUniqueID() const override { return nullptr; }
    };
    test::LogCapture const log;
    Nameless nameless;
    m_manager->registerArchiveDir(nameless, nullptr);
    m_manager->createSearchEnv(nameless, nullptr, nullptr);
    EXPECT_EQ(m_manager->archiveFile(nameless, "/no/such/file", scAllFiles), afNoArchiveDir);
    EXPECT_EQ(log.text(), "Context:  Dir: NULL\nContext:  ClientId: NULL\n");
    EXPECT_EQ(
        internals().getMetadataForContext(nameless).get(),
        internals()
            .getMetadataForContext(*ObjectPtr<IResolutionContext>(new BasicResolutionContext("")))
            .get());
}

TEST_F(Contexts, OfAResultDirectoryAreSetUpOnce) {
    EXPECT_FALSE(m_manager->createResultDirectoryContext(nullptr));
    auto const result = m_manager->createResultDirectoryContext("/result");
    EXPECT_STREQ(result->getUniqueID(), "/result/");
    auto const dirs = internals().getSearchDirs(*result, " hidden_result_dir_key");
    ASSERT_TRUE(dirs);
    EXPECT_EQ(dirsOf(dirs->enumerate(scBinaryFiles)), "/result/binaries p;");
    EXPECT_EQ(dirsOf(dirs->enumerate(scSymbolFiles)), "/result/symbols p;/result/binaries p;");
    EXPECT_EQ(dirsOf(dirs->enumerate(scSourceFiles)), "/result/sources rp;");
    EXPECT_EQ(dirsOf(dirs->enumerate(scAllFiles)), "/result/all rp;/result p;");
    EXPECT_EQ(internals().getArchiveDir(*result), "/result/archive");

    m_manager->registerArchiveDir(*result, "/moved");
    auto const again = m_manager->createResultDirectoryContext("/result/");
    EXPECT_EQ(internals().getSearchDirs(*again, " hidden_result_dir_key").get(), dirs.get());
    EXPECT_EQ(internals().getArchiveDir(*again), "/moved");
}

TEST_F(Contexts, GiveAnEmptyEnvironmentWhenNothingIsRegistered) {
    auto const info = IEditableEnvironmentInfo::create();
    auto const empty = m_manager->createSearchEnv(*context("/unknown"), "client", info);
    EXPECT_FALSE(empty->searchDirs(scBinaryFiles));
    EXPECT_FALSE(empty->archiveDirs(scBinaryFiles));
    EXPECT_STREQ(empty->cacheDir(), "");
    EXPECT_FALSE(empty->noFilesFoundCallback()->hasCallback());
    EXPECT_EQ(empty->fileRetriever(), nullptr);
    EXPECT_EQ(empty->messenger(), nullptr);
    EXPECT_FALSE(empty->searchStepsConfigurator());
    EXPECT_EQ(empty->environmentInfo().get(), info.get());
}

TEST_F(Contexts, AddUpDirectoriesNearestFirst) {
    auto const live = registerDir(m_child, "/b", "b");
    registerDir(m_child, "/a", "a");
    registerDir(m_parent, "/p");
    registerDir(m_grandparent, "/b/.");
    m_manager->registerArchiveDir(*m_child, "/near");
    m_manager->registerArchiveDir(*m_parent, "/far");

    auto const made = env(nullptr, m_child);
    EXPECT_EQ(dirsOf(made->searchDirs(scBinaryFiles)), "/a ;/b ;/p ;");
    std::array<std::pair<search_category_t, char const*>, 4> const words{
        {{scBinaryFiles, "binaries"},
         {scSymbolFiles, "symbols"},
         {scSourceFiles, "sources"},
         {scAllFiles, "all"}}};
    for (auto const& [category, word] : words)
        EXPECT_EQ(dirsOf(made->archiveDirs(category)),
                  std::string("/near/") + word + " rp;/far/" + word + " rp;");

    live->addDirectory(scBinaryFiles, "/late", false, false);
    EXPECT_EQ(dirsOf(made->searchDirs(scBinaryFiles)), "/a ;/b ;/late ;/p ;");
    registerDir(m_child, "/replaced", "b");
    EXPECT_EQ(dirsOf(made->searchDirs(scBinaryFiles)), "/a ;/b ;/late ;/p ;");
}

TEST_F(Contexts, FallBackToTheEmptyKeyForHalfOfTheCallbacks) {
    Started started;
    Files files;
    NoFiles noFiles;
    NoFiles exactNoFiles;
    Policy policy;
    Policy exactPolicy;
    m_manager->registerSearchStartedCallback(*m_child, "", &started);
    m_manager->registerFilesFoundCallback(*m_child, "", &files);
    m_manager->registerNoFilesFoundCallback(*m_child, "", &noFiles);
    m_manager->registerConfidenceLevelPolicyCallback(*m_child, "", &policy);
    m_manager->registerNoFilesFoundCallback(*m_parent, "client", &exactNoFiles);
    m_manager->registerConfidenceLevelPolicyCallback(*m_parent, "client", &exactPolicy);

    auto made = env("client", m_child);
    EXPECT_EQ(callbackIn(made->searchStartedCallback()), nullptr);
    EXPECT_EQ(callbackIn(made->filesFoundCallback()), nullptr);
    EXPECT_EQ(callbackIn(made->noFilesFoundCallback()), &noFiles)
        << "a nearer context outranks a better key";
    EXPECT_EQ(callbackIn(made->confidenceLevelPolicyCallback()), &policy);

    m_manager->registerConfidenceLevelPolicyCallback(*m_child, "client", &exactPolicy);
    m_manager->registerNoFilesFoundCallback(*m_child, "client", &exactNoFiles);
    m_manager->registerSearchStartedCallback(*m_parent, "client", &started);
    m_manager->registerFilesFoundCallback(*m_grandparent, "client", &files);
    made = env("client", m_child);
    EXPECT_EQ(callbackIn(made->confidenceLevelPolicyCallback()), &exactPolicy);
    EXPECT_EQ(callbackIn(made->noFilesFoundCallback()), &exactNoFiles);
    EXPECT_EQ(callbackIn(made->searchStartedCallback()), &started);
    EXPECT_EQ(callbackIn(made->filesFoundCallback()), &files);
}

TEST_F(Contexts, InheritSingleValuesFromTheNearestThatHasOne) {
    Messenger near;
    Messenger far;
    auto const steps = ISearchStepsConfigurator::create();
    auto const anyInfo = IEditableEnvironmentInfo::create();
    auto const exactInfo = IEditableEnvironmentInfo::create();
    m_manager->registerMessenger(*m_parent, "", &near);
    m_manager->registerMessenger(*m_grandparent, "client", &far);
    m_manager->registerSearchStepsConfigurator(*m_grandparent, "client", steps);
    m_manager->registerEnvironmentInfo(*m_child, "", anyInfo);
    m_manager->registerEnvironmentInfo(*m_child, "client", exactInfo);
    m_manager->registerCacheDir(*m_parent, "/near");
    m_manager->registerCacheDir(*m_grandparent, "/far");

    auto const made = env("client", m_child);
    EXPECT_EQ(made->messenger(), &near);
    EXPECT_EQ(made->searchStepsConfigurator().get(), steps.get());
    EXPECT_EQ(made->environmentInfo().get(), exactInfo.get());
    EXPECT_STREQ(made->cacheDir(), "/near");
    auto const given = IEditableEnvironmentInfo::create();
    EXPECT_EQ(m_manager->createSearchEnv(*m_child, "client", given)->environmentInfo().get(),
              given.get());
    EXPECT_EQ(env("other", m_child)->environmentInfo().get(), anyInfo.get());
    m_manager->registerMessenger(*m_parent, "", nullptr);
    EXPECT_EQ(env("client", m_child)->messenger(), &far) << "null clears a slot";
}

TEST_F(Contexts, GiveAnAnonymousCallerDirectoriesOnly) {
    Messenger messenger;
    Policy policy;
    NoFiles noFiles;
    m_manager->registerMessenger(*m_child, "", &messenger);
    m_manager->registerConfidenceLevelPolicyCallback(*m_child, "", &policy);
    m_manager->registerNoFilesFoundCallback(*m_child, "", &noFiles);
    m_manager->registerEnvironmentInfo(*m_child, "", IEditableEnvironmentInfo::create());
    m_manager->registerCacheDir(*m_child, "/cache");
    m_manager->registerArchiveDir(*m_child, "/archive");
    auto const dirs = registerDir(m_child, "/a");
    m_manager->captureSearchDirs(*m_child, "");
    dirs->addDirectory(scBinaryFiles, "/late", false, false);

    auto const made = env(nullptr, m_child);
    EXPECT_EQ(made->messenger(), nullptr);
    EXPECT_FALSE(made->confidenceLevelPolicyCallback()->hasCallback());
    EXPECT_FALSE(made->noFilesFoundCallback()->hasCallback());
    EXPECT_FALSE(made->environmentInfo());
    EXPECT_STREQ(made->cacheDir(), "");
    EXPECT_EQ(dirsOf(made->archiveDirs(scAllFiles)), "/archive/all rp;");
    EXPECT_EQ(dirsOf(made->searchDirs(scBinaryFiles)), "/a ;/late ;");
    EXPECT_EQ(binDirs("client"), "/a ;/late ;") << "the empty key captures for itself only";
    EXPECT_EQ(binDirs(""), "/a ;");
}

TEST_F(Contexts, ACaptureCutsTheChainForItsClient) {
    registerDir(m_child, "/child");
    auto const parentDirs = registerDir(m_parent, "/parent");
    registerDir(m_grandparent, "/grandparent");
    m_manager->registerArchiveDir(*m_grandparent, "/archive");
    m_manager->captureSearchDirs(*m_parent, "a");
    parentDirs->addDirectory(scBinaryFiles, "/late", false, false);
    registerDir(m_grandparent, "/later", "other");

    EXPECT_EQ(binDirs("a"), "/child ;/parent ;/grandparent ;");
    EXPECT_EQ(binDirs("b"), "/child ;/parent ;/late ;/grandparent ;/later ;");
    EXPECT_EQ(dirsOf(env("a", m_child)->archiveDirs(scAllFiles)), "/archive/all rp;")
        << "a capture has an effect on search directories alone";

    m_manager->captureSearchDirs(*m_child, "a");
    registerDir(m_child, "/moved");
    m_manager->releaseSearchDirs(*m_parent, "a");
    EXPECT_EQ(binDirs("a"), "/child ;/parent ;/grandparent ;")
        << "the child's capture holds what its parent had captured";
    m_manager->captureSearchDirs(*m_child, "a");
    EXPECT_EQ(binDirs("a"), "/moved ;/parent ;/late ;/grandparent ;/later ;")
        << "a second capture sees live directories";
    m_manager->releaseSearchDirs(*m_child, "a");
    m_manager->releaseSearchDirs(*m_child, "never captured");
    registerDir(m_child, "/again");
    EXPECT_EQ(binDirs("a"), binDirs("b"));
}

TEST_F(Contexts, TreatANullClientAsTheirInterfaceSays) {
    Policy policy;
    EXPECT_FALSE(m_manager->registerSearchStartedCallback(*m_child, nullptr, nullptr));
    EXPECT_FALSE(m_manager->registerFilesFoundCallback(*m_child, nullptr, nullptr));
    EXPECT_FALSE(m_manager->registerNoFilesFoundCallback(*m_child, nullptr, nullptr));
    EXPECT_FALSE(m_manager->registerConfidenceLevelPolicyCallback(*m_child, nullptr, &policy));
    EXPECT_TRUE(m_manager->registerConfidenceLevelPolicyCallback(*m_child, "a", nullptr));
    EXPECT_THROW(m_manager->registerFileRetriever(*m_child, nullptr, nullptr), std::logic_error);
    EXPECT_THROW(m_manager->registerSearchStepsConfigurator(*m_child, nullptr, nullptr),
                 std::logic_error);
    EXPECT_THROW(m_manager->registerMessenger(*m_child, nullptr, nullptr), std::logic_error);
    EXPECT_THROW(m_manager->registerEnvironmentInfo(*m_child, nullptr, nullptr), std::logic_error);
    test::LogCapture const log;
    EXPECT_THROW(m_manager->captureSearchDirs(*m_child, nullptr), std::logic_error);
    EXPECT_THROW(m_manager->releaseSearchDirs(*m_child, nullptr), std::logic_error);
    EXPECT_EQ(log.text(), "");
    EXPECT_THROW(m_manager->registerSearchDirs(*m_child, nullptr, nullptr), std::logic_error);
}

TEST_F(Contexts, LogWhatIsAskedOfThem) {
    test::LogCapture const log;
    m_manager->addInheritance(*m_child, *m_parent);
    m_manager->registerSearchDirs(*m_child, nullptr, "key");
    m_manager->registerCacheDir(*m_child, "/cache");
    m_manager->registerMessenger(*m_child, "client", nullptr);
    m_manager->captureSearchDirs(*m_child, "client");
    EXPECT_EQ(log.text(), "Child: /child Parent: /parent\n"
                          "Context: /child Key: key\n"
                          "Context: /child Dir: /cache\n"
                          "Context: /child ClientId: client\n"
                          "Context: /child ClientId: client\n"
                          "Context: /child ClientId: client\n");
}

TEST_F(Contexts, ArchiveIntoTheNearestArchiveAlone) {
    test::TempTree const tree;
    std::string const file = tree.file("libx.so", "content");
    EXPECT_EQ(m_manager->archiveFile(*m_child, file.c_str(), scBinaryFiles), afNoArchiveDir);

    m_manager->registerArchiveDir(*m_grandparent, tree.dir("far").c_str());
    EXPECT_EQ(m_manager->archiveFile(*m_child, file.c_str(), scSymbolFiles), afOk);
    EXPECT_TRUE(utils::isDirectory(tree.path("far/symbols/libx.so").c_str()));
    m_manager->registerArchiveDir(*m_parent, tree.dir("near").c_str());
    EXPECT_EQ(m_manager->archiveFile(*m_child, file.c_str(), static_cast<search_category_t>(9)),
              afOk);
    EXPECT_TRUE(utils::isDirectory(tree.path("near/all/libx.so").c_str()));
    EXPECT_FALSE(utils::fileExists(tree.path("far/all").c_str()));
    EXPECT_EQ(m_manager->archiveFile(*m_child, file.c_str(), scAllFiles), afAlreadyArchived);
}

TEST_F(Contexts, ASearchFindsWhatTheirArchiveHolds) {
    test::TempTree const tree;
    std::string const file = tree.file("libx.so", "content");
    m_manager->registerArchiveDir(*m_grandparent, tree.dir("archive").c_str());
    ASSERT_EQ(m_manager->archiveFile(*m_child, file.c_str(), scBinaryFiles), afOk);
    auto const found = m_manager->createFileSearch(*m_child, "client", nullptr)
                           ->findBinFile("libx.so", nullptr, nullptr, 0);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->searchStep(), ssArchiveSearchDirs);
}

TEST_F(Contexts, ASearchReadsAResultDirectoryBeforeNearerDirectoriesOfLowPriority) {
    test::TempTree const tree;
    for (char const* file :
         {"near/both", "run/binaries/both", "run/symbols/both", "run/symbols/symbols-only",
          "run/binaries/stripped", "run/sources/deep/main.c", "run/all/deep/any"})
        tree.file(file);
    auto const result = m_manager->createResultDirectoryContext(tree.path("run").c_str());
    m_manager->addInheritance(*m_child, *result);
    registerDir(m_child, tree.path("near").c_str());
    auto const search = m_manager->createFileSearch(*m_child, "client", nullptr);
    auto const name = [&](ObjectPtr<IValidFile> const& file) {
        if (!file)
            return std::string("none");
        EXPECT_EQ(file->searchStep(), ssHighPrioritySearchDirs);
        return std::string(file->name()).substr(tree.root().size());
    };
    auto const bin = [&](char const* file) {
        return name(search->findBinFile(file, nullptr, nullptr, 0));
    };
    auto const sym = [&](char const* file) {
        return name(search->findSymFile(file, nullptr, nullptr, nullptr, nullptr, nullptr));
    };
    EXPECT_EQ(bin("both"), "/run/binaries/both");
    EXPECT_EQ(bin("any"), "/run/all/deep/any");
    EXPECT_EQ(bin("symbols-only"), "none");
    EXPECT_EQ(sym("both"), "/run/symbols/both");
    EXPECT_EQ(sym("stripped"), "/run/binaries/stripped");
    EXPECT_EQ(name(search->findSrcFile("main.c", nullptr, nullptr, nullptr, nullptr)),
              "/run/sources/deep/main.c");
}

} // namespace
} // namespace LK_2_13
