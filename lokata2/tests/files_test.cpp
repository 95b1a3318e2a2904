#include <lokata2/utils.h>

#include "temp_tree.h"
#include "unprivileged.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using namespace LK_2_13;
namespace fs = std::filesystem;

class Archiving : public testing::Test {
protected:
    archive_result_t archive(std::string const& source, char const* category = nullptr,
                             bool removeSource = false) {
        return utils::archiveFile(source.c_str(), m_root.c_str(), category, m_archived,
                                  removeSource);
    }

    TempTree m_tree;
    std::string m_root = m_tree.path("archive");
    std::string m_archived = "as it was";
};

TEST_F(Archiving, CopiesEachVersionOfANameOnceAndThenKeepsTheSourceInAnyCase) {
    std::string const source = m_tree.file("name", "one");
    std::string const first = m_root + "/binaries/name/f97c5d29941bfb1b2fdab0874906ab82/name";
    fs::permissions(source, fs::perms(06755));
    EXPECT_EQ(archive(source, "binaries"), afOk);
    EXPECT_EQ(m_archived, first);
    EXPECT_EQ(fs::status(first).permissions(), fs::perms(0755));
    EXPECT_EQ(contentOf(first), "one");
    std::ofstream(first) << "not compared";
    m_archived.clear();
    EXPECT_EQ(archive(source, "binaries", true), afAlreadyArchived);
    EXPECT_EQ(m_archived, first);
    EXPECT_TRUE(fs::exists(source));

    m_tree.file("name", "two");
    EXPECT_EQ(archive(source, "binaries", true), afOk);
    EXPECT_EQ(m_archived, m_root + "/binaries/name/b8a9f715dbb64fd5c56e7783c6820a61/name");
    EXPECT_EQ(contentOf(m_archived), "two");
    EXPECT_FALSE(fs::exists(source));
    EXPECT_EQ(contentOf(first), "not compared");
}

TEST_F(Archiving, FailsWithoutASourceOrADirectory) {
    std::string const source = m_tree.file("name", "one");
    EXPECT_EQ(archive(m_tree.path("missing"), "all"), afNoChecksum);
    EXPECT_TRUE(fs::is_directory(m_root + "/all/missing")) << "left behind";
    EXPECT_FALSE(utils::fileExists(nullptr) || utils::isDirectory(nullptr));
    std::string const deep = m_tree.path("no/archive");
    EXPECT_EQ(utils::archiveFile(source.c_str(), deep.c_str(), nullptr, m_archived, true),
              afDirectoryError);
    m_tree.file("archive/symbols", "no directory");
    EXPECT_EQ(archive(source, "symbols"), afDirectoryError);
    EXPECT_EQ(m_archived, "as it was");
    EXPECT_TRUE(fs::exists(source));
}

TEST_F(Archiving, NamesTheCopyThatFailedAndKeepsTheSource) {
    std::string const source = m_tree.file("name", "one");
    m_tree.dir("archive/name/f97c5d29941bfb1b2fdab0874906ab82");
    fs::permissions(m_tree.root(), fs::perms::all);
    EXPECT_TRUE(holdsUnprivileged([&] {
        return archive(source, nullptr, true) == afCopyFailed && fs::exists(source) &&
               m_archived == m_root + "/name/f97c5d29941bfb1b2fdab0874906ab82/name";
    }));
}

} // namespace
