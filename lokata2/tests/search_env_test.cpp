#include "lk_searchenv.h"
#include "support/dir_records.h"

#include <gtest/gtest.h>

#include <memory>

namespace LK_2_13 {
namespace {

class Policy : public IConfidenceLevelPolicyCallback {
public:
    confidence_level_t getConfidenceLevel(search_category_t, unsigned int) override {
        return clReject;
    }
};

TEST(SearchEnv, IsEmptyAtFirst) {
    auto const env = IEditableSearchEnv::create();
    EXPECT_FALSE(env->searchDirs(scBinaryFiles));
    EXPECT_FALSE(env->archiveDirs(scAllFiles));
    EXPECT_STREQ(env->cacheDir(), "");
    EXPECT_FALSE(env->searchStartedCallback()->hasCallback());
    EXPECT_FALSE(env->filesFoundCallback()->hasCallback());
    EXPECT_FALSE(env->noFilesFoundCallback()->hasCallback());
    EXPECT_FALSE(env->confidenceLevelPolicyCallback()->hasCallback());
    EXPECT_FALSE(env->environmentInfo());
    EXPECT_EQ(env->fileRetriever(), nullptr);
    EXPECT_FALSE(env->searchStepsConfigurator());
    EXPECT_EQ(env->messenger(), nullptr);
}

TEST(SearchEnv, EnumeratesItsContainersAnewAtEachCall) {
    auto const env = IEditableSearchEnv::create();
    auto const search = IEditableSearchDirContainer::create();
    auto const archive = IEditableSearchDirContainer::create();
    env->setSearchDirs(search);
    env->setArchiveDirs(archive);
    search->addDirectory(scBinaryFiles, "/search", false, false);
    archive->addDirectory(scBinaryFiles, "/archive", true, true);
    auto const first = env->searchDirs(scBinaryFiles);
    search->addDirectory(scBinaryFiles, "/late", false, false);
    EXPECT_EQ(test::dirsOf(first), "/search ;");
    EXPECT_EQ(test::dirsOf(env->searchDirs(scBinaryFiles)), "/search ;/late ;");
    EXPECT_EQ(test::dirsOf(env->archiveDirs(scBinaryFiles)), "/archive rp;");
    env->setSearchDirs(nullptr);
    EXPECT_FALSE(env->searchDirs(scBinaryFiles));
}

TEST(SearchEnv, IgnoresNullTexts) {
    auto const env = IEditableSearchEnv::create();
    env->setCacheDir("/cache");
    env->setCacheDir(nullptr);
    EXPECT_STREQ(env->cacheDir(), "/cache");

    auto const info = IEditableEnvironmentInfo::create();
    EXPECT_STREQ(info->kernelRelease(), "");
    info->setKernelRelease("6.1.0");
    info->setKernelRelease(nullptr);
    EXPECT_STREQ(info->kernelRelease(), "6.1.0");
    env->setEnvironmentInfo(info);
    EXPECT_EQ(env->environmentInfo().get(), info.get());
}

TEST(SearchEnv, NoticesTheEndOfACallbackByItself) {
    auto const env = IEditableSearchEnv::create();
    auto policy = std::make_unique<Policy>();
    {
        CallbackHolder<IConfidenceLevelPolicyCallback> const registered(policy.get());
        env->setConfidenceLevelPolicyCallback(registered);
    }
    EXPECT_TRUE(env->confidenceLevelPolicyCallback()->hasCallback());
    policy.reset();
    EXPECT_FALSE(env->confidenceLevelPolicyCallback()->hasCallback());
}

TEST(SearchEnvDump, ShowsFlagsWithTheBlanksThatLogsHave) {
    EXPECT_EQ(dump(nullptr, scBinaryFiles), "[ISearchEnv: searchDirs = NULL pointer]");
    auto const env = IEditableSearchEnv::create();
    EXPECT_EQ(dump(env, scBinaryFiles), "[ISearchEnv: searchDirs = ]");
    auto const dirs = IEditableSearchDirContainer::create();
    env->setSearchDirs(dirs);
    dirs->addDirectory(scBinaryFiles, "/a", true, true);
    dirs->addDirectory(scBinaryFiles, "/b/", false, false);
    EXPECT_EQ(dump(env, scBinaryFiles),
              "[ISearchEnv: searchDirs = /a (Recursive,  HighPriority), /b/ ( ), ]");
}

} // namespace
} // namespace LK_2_13
