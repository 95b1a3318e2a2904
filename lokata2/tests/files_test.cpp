#include <lokata2/utils.h>

#include "support/log_capture.h"
#include "support/temp_tree.h"
#include "support/unprivileged.h"

#include <gmock/gmock.h>
#include <optstore2/product_locations.h>

#include <filesystem>

#include <sys/stat.h>

namespace {

using namespace LK_2_13;
using test::TempTree;
using testing::MatchesRegex;

TEST(FileExists, TellsFilesOfAnyKind) {
    TempTree const tree;
    std::string const fifo = tree.path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_TRUE(utils::fileExists(tree.root().c_str()));
    EXPECT_TRUE(utils::fileExists(fifo.c_str()));
    EXPECT_TRUE(utils::fileExists(tree.link("link", tree.file("file")).c_str()));
    EXPECT_FALSE(utils::fileExists(tree.link("dangling", "nothing").c_str()));
    EXPECT_FALSE(utils::fileExists(tree.link("loop", "loop").c_str()));
    EXPECT_FALSE(utils::fileExists(tree.path("file/below").c_str()));
    EXPECT_FALSE(utils::isDirectory(tree.path("link").c_str()));
    EXPECT_TRUE(utils::isDirectory(tree.link("links", tree.dir("dir")).c_str()));
    EXPECT_FALSE(utils::fileExists(std::string(5000, 'x').c_str()));
    EXPECT_FALSE(utils::fileExists(""));
    EXPECT_FALSE(utils::fileExists(nullptr));
}

TEST(FileExists, IsFalseWhereItMayNotLook) {
    TempTree const tree;
    std::string const file = tree.file("closed/file");
    std::filesystem::permissions(tree.path("closed"), std::filesystem::perms::none);
    EXPECT_TRUE(test::holdsUnprivileged([&] {
        return utils::isDirectory(tree.path("closed").c_str()) &&
               !utils::fileExists(file.c_str()) && !utils::isDirectory(file.c_str()) &&
               !utils::removeFile(file.c_str());
    }));
    std::filesystem::permissions(tree.path("closed"), std::filesystem::perms::owner_all);
}

TEST(CreateDir, MakesOneLevelOfTheNormalName) {
    TempTree const tree;
    EXPECT_TRUE(utils::createDir(tree.path("missing/../made/.").c_str()));
    EXPECT_TRUE(utils::isDirectory(tree.path("made").c_str()));
    EXPECT_FALSE(utils::createDir(tree.path("made").c_str()));
    EXPECT_FALSE(utils::createDir(tree.path("missing/made").c_str()));
    EXPECT_FALSE(utils::createDir(tree.file("file").c_str()));
    EXPECT_FALSE(utils::createDir(nullptr));
    EXPECT_TRUE(utils::removeFile(tree.path("file").c_str()));
    EXPECT_FALSE(utils::removeFile(tree.path("file").c_str()));
}

class UniqueTempDir : public testing::Test {
protected:
    ~UniqueTempDir() override { optstore2::IProductLocations::get()->setTempDirectory(nullptr); }
};

TEST_F(UniqueTempDir, IsNewAndPrivateAtEachCall) {
    TempTree const tree;
    std::string const parent = tree.path("private");
    optstore2::IProductLocations::get()->setTempDirectory(parent.c_str());
    std::string first;
    std::string second;
    ASSERT_EQ(utils::createUniqueTempDir(first), 0);
    ASSERT_EQ(utils::createUniqueTempDir(second), 0);
    EXPECT_NE(first, second);
    EXPECT_TRUE(utils::isDirectory(second.c_str()));
    EXPECT_THAT(first, MatchesRegex(parent + "/lk-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-"
                                             "[0-9a-f]{4}"));
}

TEST_F(UniqueTempDir, FailsWithARecordWhereThereIsNoPlace) {
    test::LogCapture const log;
    optstore2::IProductLocations::get()->setTempDirectory("");
    std::string directory = "as it was";
    EXPECT_EQ(utils::createUniqueTempDir(directory), 4);
    EXPECT_EQ(directory, "as it was");
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_EQ(log.records()[0].level, log4cplus::ERROR_LOG_LEVEL);
    EXPECT_THAT(log.text(), MatchesRegex("Cannot create temp directory, at file: .*:[0-9]+\n"));
}

} // namespace
