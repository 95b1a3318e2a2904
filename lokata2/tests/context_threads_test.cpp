#include "lk_context.h"
#include "lk_context_metadata.h"
#include "lk_search_history.h"
#include "lk_searchenv_chain.h"
#include "lk_searchenv_dirs.h"
#include "on_threads.h"
#include "support/callbacks.h"
#include "support/dir_records.h"
#include "temp_tree.h"

#include <lokata2/messages.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace LK_2_13 {
namespace {

constexpr int c_rounds = 60;

TEST(Guards, OfMetadataStandAroundEachSlot) {
    ObjectPtr<IMetadata> const owner(new Metadata);
    IMetadata& metadata = *owner;
    auto const dirs = IEditableSearchDirContainer::create();
    test::Started started;
    test::Found found;
    test::NotFound notFound;
    test::Policy policy;
    // A new key is put into a map by code of the C++ library, which ThreadSanitizer does not see.
    metadata.setSearchDirs(nullptr, "key");
    metadata.setCapturedSearchDirs("key", nullptr);
    metadata.registerFileRetriever("key", nullptr);
    metadata.registerSearchStepsConfigurator("key", nullptr);
    metadata.registerMessenger("key", nullptr);
    metadata.registerEnvironmentInfo("key", nullptr);
    atOnce({[&] { metadata.setSearchDirs(dirs, "key"); },
            [&] { metadata.getSearchDirs("key"); },
            [&] { metadata.searchDirsKeyIterator(); },
            [&] { metadata.registerSearchStartedCallback("1", &started); },
            [&] { metadata.registerFilesFoundCallback("2", &found); },
            [&] { metadata.registerNoFilesFoundCallback("3", &notFound); },
            [&] { metadata.registerConfidenceLevelPolicyCallback("4", &policy); },
            [&] { metadata.getCallbacks("1"); },
            [&] { metadata.setArchiveDir("/archive"); },
            [&] { metadata.getArchiveDir(); },
            [&] { metadata.setCapturedSearchDirs("key", ICapturedSearchDirs::create(nullptr)); },
            [&] { metadata.getCapturedSearchDirs("key"); },
            [&] { metadata.registerFileRetriever("key", nullptr); },
            [&] { metadata.getFileRetriever("key"); },
            [&] {
                metadata.registerSearchStepsConfigurator("key", ISearchStepsConfigurator::create());
            },
            [&] { metadata.getSearchStepsConfigurator("key"); },
            [&] { metadata.registerMessenger("key", nullptr); },
            [&] { metadata.getMessenger("key"); },
            [&] { metadata.registerEnvironmentInfo("key", IEditableEnvironmentInfo::create()); },
            [&] { metadata.getEnvironmentInfo("key"); }});
    metadata.setSearchDirs(nullptr, "free");
    char const* key = nullptr;
    ObjectPtr<ISearchDirContainer> first;
    EXPECT_TRUE(metadata.searchDirsKeyIterator()->getCurrentRecord(key, first));
    EXPECT_EQ(first.get(), nullptr) << "keys come in the order of their bytes";
    EXPECT_EQ(metadata.getSearchDirs("key").get(), dirs.get());
}

TEST(Guards, OfHistoriesAndDirectoryListsStandAroundEachUse) {
    SearchHistory history;
    FilteredDirList list;
    EditableSearchDirContainer container;
    SearchDirChain chain;
    atOnce({[&] { history.addBinFileAssociation("a", "/a"); },
            [&] { history.findBinFileAssociation("b"); },
            [&] { history.addSymFileAssociation("a", "", "", "/a"); },
            [&] { history.findSymFileAssociation("b", "", ""); },
            [&] { history.addSrcFileAssociation("a", "", "", "/a"); },
            [&] { history.findSrcFileAssociation("b", "", ""); },
            [&] { history.clear(scAllFiles); }, [&] { list.add("/a", true, true); },
            [&] { list.add("/b", true, true); }, [&] { list.clear(); }, [&] { list.snapshot(); },
            [&] { container.addDirectory(scBinaryFiles, "/a", true, true); },
            [&] { container.clear(scSymbolFiles); }, [&] { container.enumerate(scSourceFiles); },
            [&] { chain.addItem(IEditableSearchDirContainer::create()); },
            [&] { chain.addItem(IEditableSearchDirContainer::create()); },
            [&] { chain.enumerate(scAllFiles); }});
}

TEST(Guards, OfTheManagerStandAroundItsContextsAndItsEnd) {
    atOnce({[] { IMessageMgr::create(); }, [] { IMessageMgr::create(); }});
    BasicResolutionContext child("/child");
    BasicResolutionContext parent("/parent");
    for (int round = 0; round < c_rounds; ++round)
        atOnce({[] { EXPECT_TRUE(IResolutionContextMgr::create()); },
                [] { EXPECT_TRUE(IResolutionContextMgr::create()); }});
    auto const manager = IResolutionContextMgr::create();
    auto& internals = static_cast<ResolutionContextMgr&>(*manager);
    atOnce({[&] { manager->addInheritance(child, parent); },
            [&] { internals.getParentContext(child); },
            [&] { manager->registerCacheDir(child, "/c"); },
            [&] { manager->registerCacheDir(parent, "/p"); }});
}

TEST(ContextThreads, SearchRegisterCaptureAndArchiveAtOnce) {
    TempTree tree;
    std::string const wanted = tree.file("always/wanted", "content");
    auto const manager = IResolutionContextMgr::create();
    auto const context = manager->createFileSystemContext("/context", false);
    auto const dirs = IEditableSearchDirContainer::create();
    std::string const always = tree.path("always");
    dirs->addDirectory(scBinaryFiles, always.c_str(), true, true);
    dirs->addDirectory(scBinaryFiles, "/fixed", false, false);
    manager->registerSearchDirs(*context, dirs, "always");
    manager->registerArchiveDir(*context, tree.dir("archive").c_str());
    onThreads(4, [&](int number) {
        for (int round = 0; round < c_rounds; ++round) {
            if (number == 0) {
                test::Policy policy;
                manager->registerConfidenceLevelPolicyCallback(*context, "client", &policy);
                dirs->addDirectory(scBinaryFiles, std::to_string(round).c_str(), false, false);
                manager->captureSearchDirs(*context, "client");
                continue;
            }
            auto const env = manager->createSearchEnv(*context, "client", nullptr);
            EXPECT_NE(test::dirsOf(env->searchDirs(scBinaryFiles)).find(always + " rp;/fixed ;"),
                      std::string::npos)
                << "each search has a cursor of its own";
            EXPECT_TRUE(IFileSearch::create(env)->findBinFile("wanted", nullptr, nullptr, 0));
            // Symbols are archived beside the binaries that the search reads.
            auto const result = manager->archiveFile(*context, wanted.c_str(), scSymbolFiles);
            EXPECT_TRUE(result == afOk || result == afAlreadyArchived) << result;
        }
    });
}

/// Goes only when another thread has had a manager.
class WaitsForAnother : public RefCountImpl<ISearchDirContainer> {
public:
    ~WaitsForAnother() override {
        std::thread([] { EXPECT_TRUE(IResolutionContextMgr::create()); }).join();
    }
    ObjectPtr<ISearchDirIterator> enumerate(search_category_t) const override { return {}; }
};

TEST(ContextThreads, DestroyWhatWasRegisteredOutsideOfTheLock) {
    auto manager = IResolutionContextMgr::create();
    auto const context = manager->createUserWideContext();
    manager->registerSearchDirs(*context, new WaitsForAnother, "key");
    manager = nullptr;
    LKLockWrap const guard(&g_resoulutionContextMgrLock);
    EXPECT_FALSE(ResolutionContextMgr::s_instance);
}

} // namespace
} // namespace LK_2_13
