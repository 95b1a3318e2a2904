#include "lk_context.h"
#include "support/callbacks.h"
#include "support/dir_records.h"
#include "support/retriever.h"
#include "temp_tree.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

namespace LK_2_13 {
namespace {

using test::dirsOf;

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

    /// The environment of a client in the child.
    ObjectPtr<ISearchEnv> env(char const* clientId) {
        return m_manager->createSearchEnv(*m_child, clientId, nullptr);
    }
    std::string binDirs(char const* clientId) {
        return dirsOf(env(clientId)->searchDirs(scBinaryFiles));
    }

    ResolutionContextMgr& internals() { return static_cast<ResolutionContextMgr&>(*m_manager); }

    ObjectPtr<IResolutionContextMgr> m_manager = IResolutionContextMgr::create();
    ObjectPtr<IResolutionContext> m_child = context("/child");
    ObjectPtr<IResolutionContext> m_parent = context("/parent");
    ObjectPtr<IResolutionContext> m_grandparent = context("/grandparent");
};

TEST_F(Contexts, AreTheSameForEqualIdsAndHaveOneParentTheLastOne) {
    BasicResolutionContext copy(*context("/child/./x/.."));
    EXPECT_STREQ(internals().getParentContext(copy)->getUniqueID(), "/parent");
    EXPECT_FALSE(internals().getParentContext(*context("/Child")));
    EXPECT_TRUE(m_manager->addInheritance(copy, *m_grandparent));
    EXPECT_STREQ(internals().getParentContext(*m_child)->getUniqueID(), "/grandparent");
}

TEST_F(Contexts, OfAResultDirectoryAreSetUpOnce) {
    EXPECT_FALSE(m_manager->createResultDirectoryContext(nullptr));
    auto const result = m_manager->createResultDirectoryContext("/result");
    EXPECT_STREQ(result->getUniqueID(), "/result/");
    auto const dirs = internals().getSearchDirs(*result, " hidden_result_dir_key");
    ASSERT_TRUE(dirs);
    EXPECT_EQ(dirsOf(dirs->enumerate(scAllFiles)), "/result/all rp;/result p;");
    EXPECT_EQ(dirsOf(dirs->enumerate(scBinaryFiles)), "/result/binaries p;");
    EXPECT_EQ(dirsOf(dirs->enumerate(scSymbolFiles)), "/result/symbols p;/result/binaries p;");
    EXPECT_EQ(dirsOf(dirs->enumerate(scSourceFiles)), "/result/sources rp;");
    EXPECT_EQ(internals().getArchiveDir(*result), "/result/archive");
    m_manager->registerArchiveDir(*result, "/moved");
    auto const again = m_manager->createResultDirectoryContext("/result/");
    EXPECT_EQ(internals().getSearchDirs(*again, " hidden_result_dir_key").get(), dirs.get());
    EXPECT_EQ(internals().getArchiveDir(*again), "/moved");
}

TEST_F(Contexts, AddUpDirectoriesNearestFirst) {
    auto const live = registerDir(m_child, "/b", "b");
    registerDir(m_child, "/a", "a");
    registerDir(m_parent, "/p");
    registerDir(m_grandparent, "/b/.");
    m_manager->registerArchiveDir(*m_child, "/near");
    m_manager->registerArchiveDir(*m_parent, "/far");
    auto const made = env(nullptr);
    EXPECT_EQ(dirsOf(made->archiveDirs(scSourceFiles)), "/near/sources rp;/far/sources rp;");
    live->addDirectory(scBinaryFiles, "/late", false, false);
    registerDir(m_child, "/replaced", "b");
    EXPECT_EQ(dirsOf(made->searchDirs(scBinaryFiles)), "/a ;/b ;/late ;/p ;");
    EXPECT_EQ(binDirs(nullptr), "/a ;/replaced ;/p ;/b/. ;");
}

TEST_F(Contexts, RefuseANullClientByTheirResultOrRaise) {
    IResolutionContextMgr& manager = *m_manager;
    for (char const* const client : {"client", static_cast<char const*>(nullptr)}) {
        for (bool const isTaken :
             {manager.registerSearchStartedCallback(*m_child, client, nullptr),
              manager.registerFilesFoundCallback(*m_child, client, nullptr),
              manager.registerNoFilesFoundCallback(*m_child, client, nullptr),
              manager.registerConfidenceLevelPolicyCallback(*m_child, client, nullptr)})
            EXPECT_EQ(isTaken, client != nullptr);
        std::function<bool()> const others[]{
            [&] { return manager.registerFileRetriever(*m_child, client, nullptr); },
            [&] { return manager.registerSearchStepsConfigurator(*m_child, client, nullptr); },
            [&] { return manager.registerMessenger(*m_child, client, nullptr); },
            [&] { return manager.registerEnvironmentInfo(*m_child, client, nullptr); }};
        for (auto const& isTaken : others)
            if (client != nullptr)
                EXPECT_TRUE(isTaken());
            else
                EXPECT_THROW(isTaken(), std::logic_error);
    }
    EXPECT_THROW(manager.captureSearchDirs(*m_child, nullptr), std::logic_error);
    EXPECT_THROW(manager.releaseSearchDirs(*m_child, nullptr), std::logic_error);
    for (char const* const none : {"", static_cast<char const*>(nullptr)})
        EXPECT_FALSE(manager.createFileSystemContext(none, true));
    EXPECT_EQ(manager.createUserWideContext()->getUniqueID(), utils::getUserId());
}

TEST_F(Contexts, FallBackToTheEmptyKeyForHalfOfTheCallbacks) {
    test::Started started;
    test::Found found;
    test::NotFound notFound;
    test::Policy policy;
    test::Policy exactPolicy;
    m_manager->registerSearchStartedCallback(*m_child, "", &started);
    m_manager->registerFilesFoundCallback(*m_child, "", &found);
    m_manager->registerNoFilesFoundCallback(*m_child, "", &notFound);
    m_manager->registerConfidenceLevelPolicyCallback(*m_child, "", &policy);
    m_manager->registerConfidenceLevelPolicyCallback(*m_parent, "client", &exactPolicy);
    auto made = env("client");
    EXPECT_EQ(callbackIn(made->searchStartedCallback()), nullptr);
    EXPECT_EQ(callbackIn(made->filesFoundCallback()), nullptr);
    EXPECT_EQ(callbackIn(made->noFilesFoundCallback()), &notFound);
    EXPECT_EQ(callbackIn(made->confidenceLevelPolicyCallback()), &policy)
        << "a nearer context outranks a better key";

    m_manager->registerConfidenceLevelPolicyCallback(*m_child, "client", &exactPolicy);
    m_manager->registerSearchStartedCallback(*m_parent, "client", &started);
    m_manager->registerFilesFoundCallback(*m_parent, "client", &found);
    made = env("client");
    EXPECT_EQ(callbackIn(made->confidenceLevelPolicyCallback()), &exactPolicy);
    EXPECT_EQ(callbackIn(made->searchStartedCallback()), &started);
    EXPECT_EQ(callbackIn(made->filesFoundCallback()), &found);
}

TEST_F(Contexts, InheritSingleValuesFromTheNearestThatHasOne) {
    test::Messenger near;
    test::Messenger far;
    auto const steps = ISearchStepsConfigurator::create();
    auto const anyInfo = IEditableEnvironmentInfo::create();
    auto const exactInfo = IEditableEnvironmentInfo::create();
    exactInfo->setOsType(osLinux);
    exactInfo->setArchitecture(arX86_64);
    anyInfo->setArchitecture(arArm64);
    m_manager->registerMessenger(*m_parent, "", &near);
    m_manager->registerMessenger(*m_grandparent, "client", &far);
    m_manager->registerSearchStepsConfigurator(*m_grandparent, "client", steps);
    m_manager->registerEnvironmentInfo(*m_child, "", anyInfo);
    m_manager->registerEnvironmentInfo(*m_child, "client", exactInfo);
    test::Retriever retriever;
    m_manager->registerFileRetriever(*m_parent, "", &retriever);
    m_manager->registerCacheDir(*m_parent, "/near");
    m_manager->registerCacheDir(*m_parent, nullptr);
    m_manager->registerCacheDir(*m_grandparent, "/far");
    auto const made = env("client");
    EXPECT_EQ(made->messenger(), &near);
    EXPECT_EQ(made->fileRetriever(), &retriever);
    EXPECT_EQ(made->searchStepsConfigurator().get(), steps.get());
    EXPECT_EQ(made->environmentInfo().get(), exactInfo.get());
    EXPECT_EQ(made->environmentInfo()->osType(), osLinux);
    EXPECT_EQ(made->environmentInfo()->architecture(), arX86_64);
    EXPECT_STREQ(made->cacheDir(), "/near");
    EXPECT_EQ(m_manager->createSearchEnv(*m_child, "client", anyInfo)->environmentInfo().get(),
              anyInfo.get());
    EXPECT_EQ(env("other")->environmentInfo().get(), anyInfo.get());
    EXPECT_EQ(anyInfo->osType(), osUnknown);
    EXPECT_EQ(IEditableEnvironmentInfo::create()->architecture(), arUnknown);
    EXPECT_EQ(anyInfo->architecture(), arArm64);
}

TEST_F(Contexts, GiveAnAnonymousCallerDirectoriesOnly) {
    test::Policy policy;
    m_manager->registerConfidenceLevelPolicyCallback(*m_child, "", &policy);
    m_manager->registerEnvironmentInfo(*m_child, "", IEditableEnvironmentInfo::create());
    m_manager->registerCacheDir(*m_child, "/cache");
    auto const dirs = registerDir(m_child, "/a");
    m_manager->captureSearchDirs(*m_child, "");
    dirs->addDirectory(scBinaryFiles, "/late", false, false);
    auto const made = env(nullptr);
    EXPECT_FALSE(made->confidenceLevelPolicyCallback()->hasCallback());
    EXPECT_FALSE(made->environmentInfo());
    EXPECT_STREQ(made->cacheDir(), "");
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
    EXPECT_EQ(dirsOf(env("a")->archiveDirs(scAllFiles)), "/archive/all rp;")
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
    registerDir(m_child, "/again");
    EXPECT_EQ(binDirs("a"), binDirs("b"));
}

TEST_F(Contexts, ArchiveIntoTheNearestArchiveAloneWhereASearchFindsTheFile) {
    TempTree const tree;
    std::string const file = tree.file("libx.so", "content");
    auto const archive = [&](unsigned category) {
        return m_manager->archiveFile(*m_child, file.c_str(),
                                      static_cast<search_category_t>(category));
    };
    EXPECT_EQ(archive(scBinaryFiles), afNoArchiveDir);
    m_manager->registerArchiveDir(*m_grandparent, tree.dir("far").c_str());
    EXPECT_EQ(archive(scBinaryFiles), afOk);
    EXPECT_EQ(m_manager->archiveFile(*m_child, nullptr, scBinaryFiles), afNoChecksum);
    auto const found = m_manager->createFileSearch(*m_child, "client", nullptr)
                           ->findBinFile("libx.so", nullptr, nullptr, 0);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->searchStep(), ssArchiveSearchDirs);
    m_manager->registerArchiveDir(*m_parent, tree.dir("near").c_str());
    EXPECT_EQ(archive(9), afOk);
    EXPECT_TRUE(utils::isDirectory(tree.path("near/all/libx.so").c_str()));
    EXPECT_FALSE(utils::fileExists(tree.path("far/all").c_str()));
    EXPECT_EQ(archive(scAllFiles), afAlreadyArchived);
}

} // namespace
} // namespace LK_2_13
