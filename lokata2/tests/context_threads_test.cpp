#include "lk_context.h"
#include "on_threads.h"
#include "support/callbacks.h"
#include "support/dir_records.h"
#include "temp_tree.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace LK_2_13 {
namespace {

constexpr int c_rounds = 60;

TEST(ContextThreads, SearchRegisterCaptureAndArchiveAtOnce) {
    TempTree tree;
    std::string const wanted = tree.file("always/wanted", "content");
    auto const manager = IResolutionContextMgr::create();
    auto const child = manager->createFileSystemContext("/child", false);
    auto const parent = manager->createFileSystemContext("/parent", false);
    auto const dirs = IEditableSearchDirContainer::create();
    std::string const always = tree.path("always");
    dirs->addDirectory(scBinaryFiles, always.c_str(), true, true);
    dirs->addDirectory(scBinaryFiles, "/fixed", false, false);
    manager->registerSearchDirs(*parent, dirs, "always");
    manager->addInheritance(*child, *parent);
    manager->registerArchiveDir(*child, tree.dir("archive").c_str());

    test::Messenger messenger;
    auto const assemble = [&](int) {
        auto const env = manager->createSearchEnv(*child, "client", nullptr);
        std::string const found = test::dirsOf(env->searchDirs(scBinaryFiles));
        EXPECT_NE(found.find(always + " rp;/fixed ;"), std::string::npos)
            << "each search has a cursor of its own: " << found;
        auto* const holder = env->confidenceLevelPolicyCallback();
        CallbackAccessor<IConfidenceLevelPolicyCallback> const accessor(*holder);
        auto* const policy = accessor.get();
        EXPECT_TRUE(policy == nullptr ||
                    policy->getConfidenceLevel(scBinaryFiles, 0) == clAcceptLow);
    };
    auto const registerThings = [&](int i) {
        std::string const name = "/dir" + std::to_string(i);
        auto const more = IEditableSearchDirContainer::create();
        more->addDirectory(scBinaryFiles, name.c_str(), false, false);
        manager->registerSearchDirs(*child, more, "own");
        dirs->addDirectory(scBinaryFiles, name.c_str(), false, false);
        manager->registerArchiveDir(*child, tree.path("archive").c_str());
        manager->registerMessenger(*child, "client", i % 2 == 0 ? &messenger : nullptr);
        manager->registerEnvironmentInfo(*child, "", IEditableEnvironmentInfo::create());
        manager->addInheritance(*child, *parent);
    };
    auto const capture = [&](int i) {
        manager->captureSearchDirs(*(i % 2 == 0 ? parent : child), "client");
        manager->releaseSearchDirs(*(i % 3 == 0 ? parent : child), "client");
    };
    auto const comeAndGo = [&](int) {
        test::Policy policy;
        manager->registerConfidenceLevelPolicyCallback(*child, "client", &policy);
    };
    auto const searchAndArchive = [&](int) {
        auto const search = manager->createFileSearch(*child, "client", nullptr);
        EXPECT_TRUE(search->findBinFile("wanted", nullptr, nullptr, 0));
        // Symbols are archived beside the binaries that the search reads.
        archive_result_t const result = manager->archiveFile(*child, wanted.c_str(), scSymbolFiles);
        EXPECT_TRUE(result == afOk || result == afAlreadyArchived) << result;
    };
    std::vector<std::function<void(int)>> const jobs{assemble,  registerThings,   capture,
                                                     comeAndGo, searchAndArchive, searchAndArchive};
    onThreads(static_cast<int>(jobs.size()), [&](int number) {
        for (int round = 0; round < c_rounds; ++round)
            jobs.at(number)(round);
    });
}

TEST(ContextThreads, NeverMeetAManagerThatIsGoing) {
    for (int i = 0; i < c_rounds; ++i) {
        auto last = IResolutionContextMgr::create();
        ObjectPtr<IResolutionContextMgr> met;
        std::thread leaver;
        {
            LKLockWrap const guard(&g_resoulutionContextMgrLock);
            leaver = std::thread([&] { last = nullptr; });
            for (int turn = 0; turn < 100; ++turn)
                std::this_thread::yield();
            met = IResolutionContextMgr::create();
        }
        leaver.join();
        ASSERT_EQ(met.get(), IResolutionContextMgr::create().get());
    }
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
