#include <lokata/profile/resolver.h>

#include "search/scan/file_index.h"
#include "support/search_fixture.h"

#include <lokata/profile/file_index.h>

#include <chrono>
#include <csignal>
#include <numeric>
#include <random>
#include <thread>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lokata::profile::test {
namespace {

using namespace testing;
namespace fs = std::filesystem;

BuildId idOf(std::uint64_t number) {
    return {1, static_cast<std::uint8_t>(number), 7, 7};
}

/// A tree of files with build-ids that changes at random.
class FileIndexTest : public SearchFixture {
protected:
    FileIndexTest() {
        for (int i = 0; i < 60; ++i)
            change();
        // Only what has been left alone for two seconds is kept.
        std::this_thread::sleep_for(std::chrono::milliseconds(2100));
        m_options.scan.dirs = {m_tree.path("tree")};
        m_options.scan.warn = [this](std::string const& text) { m_warnings.push_back(text); };
    }

    std::string anyPath() {
        return m_tree.path("tree/d" + std::to_string(m_random() % 6) + "/f" +
                           std::to_string(m_random() % 20));
    }
    void change() {
        std::string const path = anyPath();
        std::string const other = anyPath();
        fs::create_directories(fs::path(path).parent_path());
        fs::create_directories(fs::path(other).parent_path());
        std::error_code ignored;
        auto const before = fs::last_write_time(path, ignored);
        switch (m_random() % 8) {
        case 0:
            fs::remove(path);
            break;
        case 1:
            fs::rename(path, other, ignored);
            break;
        case 2:
            fs::create_hard_link(path, other, ignored);
            break;
        default:
            ElfBuilder().buildId(idOf(m_random() % 40)).write(path);
        }
        if (m_random() % 2 == 0)
            fs::last_write_time(path, before, ignored);
    }
    /// For each build-id, what was found and rejected.
    std::vector<std::string> answers(std::string const& index) {
        m_options.scan.index = index;
        Profile profile;
        for (std::uint64_t i = 0; i < 40; ++i) {
            profile.modules.emplace_back().name = "/gone/lib" + std::to_string(i);
            profile.modules.back().build_id = idOf(i);
        }
        std::vector<std::string> result;
        Resolver resolver(environment(), m_options);
        for (ModuleResolution const& each : resolver.resolve(std::move(profile), "test").modules)
            result.push_back(foundAt(*each.binary) + PrintToString(rejections(*each.symbols)));
        return result;
    }

    std::mt19937 m_random{7};
    std::string m_index = m_tree.path("files.sqlite");
    std::vector<std::string> m_warnings;
};

TEST_F(FileIndexTest, AnswersDoNotDependOnIt) {
    EXPECT_EQ(answers(m_index), answers(""));
    EXPECT_GT(fileIndexStatus(m_index).entries, 20U);
    for (int round = 0; round < 30; ++round) {
        change();
        ASSERT_EQ(answers(m_index), answers("")) << round;
    }
    EXPECT_THAT(m_warnings, IsEmpty());
}

TEST_F(FileIndexTest, WhatIsDamagedIsDroppedWithAWord) {
    std::vector<std::string> const expected = answers("");
    answers(m_index);
    std::string const whole = contentOf(m_index);
    for (int round = 0; round < 40; ++round) {
        std::string damaged =
            whole.substr(0, round % 4 == 0 ? m_random() % whole.size() : whole.size());
        for (int i = 0; i < 50 && !damaged.empty(); ++i)
            damaged[m_random() % damaged.size()] = static_cast<char>(m_random());
        std::ofstream(m_index, std::ios::binary) << damaged;
        ASSERT_EQ(answers(m_index), expected) << round;
    }
    EXPECT_THAT(m_warnings, SizeIs(Gt(10U)));
    EXPECT_EQ(answers(m_index), expected);
    fs::remove(m_index);
    ASSERT_EQ(::mkfifo(m_index.c_str(), 0600), 0);
    EXPECT_EQ(answers(m_index), expected);
    EXPECT_EQ(answers(m_index), expected);
    EXPECT_GT(fileIndexStatus(m_index).entries, 0U);
    EXPECT_EQ(clearFileIndex(m_index), "");
    EXPECT_EQ(fileIndexStatus(m_index).entries, 0U);
    EXPECT_EQ(answers(m_tree.path("missing/files.sqlite")), expected);
}

TEST_F(FileIndexTest, SeveralProcessesWriteItAndOneThatIsKilledLeavesItSound) {
    std::vector<std::string> const expected = answers("");
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i) {
        children.push_back(::fork());
        if (children.back() != 0)
            continue;
        for (bool isOne = true;; isOne = !isOne) {
            if (isOne)
                clearFileIndex(m_index);
            answers(m_index);
        }
    }
    for (pid_t const child : children) {
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(answers(m_index), expected);
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    m_warnings.clear();
    EXPECT_EQ(answers(m_index), expected);
    EXPECT_THAT(m_warnings, IsEmpty());
}

TEST_F(FileIndexTest, ItsSizeIsBounded) {
    TreeListing const listing(m_options.scan.dirs);
    std::vector<FileNumber> files(listing.size());
    std::iota(files.begin(), files.end(), FileNumber{0});
    ASSERT_GT(files.size(), 20U);
    auto const read = [&](std::vector<FileNumber> const& some) {
        std::size_t taken = 0;
        auto const count = [&](FileNumber, FileMarks const&) { ++taken; };
        FileIndex index(m_index, {}, 20);
        std::uint64_t const result = index.marks(listing, some, Reading::elf, count);
        EXPECT_EQ(taken, some.size());
        return result;
    };
    std::vector<FileNumber> const few(files.begin(), files.begin() + 10);
    EXPECT_EQ(read(few), 10U);
    EXPECT_EQ(read(few), 0U);
    read(files);
    EXPECT_EQ(fileIndexStatus(m_index).entries, 20U);
}

} // namespace
} // namespace lokata::profile::test
