#include <optstore2/product_locations.h>
#include <optstore2/user_directories.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <sys/stat.h>
#include <temp_tree.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using optstore2::IProductLocations;

constexpr uid_t c_somebodyElse = 65534;

class ProductLocations : public testing::Test {
protected:
    ~ProductLocations() override { IProductLocations::get()->setTempDirectory(nullptr); }

    static std::string given(fs::path const& directory) {
        IProductLocations::get()->setTempDirectory(directory.c_str());
        return IProductLocations::get()->getTempDirectory();
    }

    static mode_t mode(fs::path const& path) {
        struct stat status {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777;
    }

    TempTree const m_tree;
    fs::path const m_root = m_tree.root();
};

TEST_F(ProductLocations, TheDirectoryIsMadeForTheUserAloneWithTheOneAbove) {
    mode_t const old = umask(0);
    fs::path const directory = m_root / "above/own";
    EXPECT_EQ(given(directory), directory);
    umask(old);
    EXPECT_EQ(mode(directory), 0700U);
    EXPECT_EQ(mode(directory.parent_path()), 0700U);
    EXPECT_EQ(given(directory), directory);
}

TEST_F(ProductLocations, TheUsersDirectoriesAreThoseOfTheEnvironment) {
    std::string const old = optstore2::homeDirectory();
    ::setenv("HOME", m_root.c_str(), 1);
    ::unsetenv("XDG_CONFIG_HOME");
    ::setenv("XDG_CACHE_HOME", "relative", 1);
    EXPECT_EQ(optstore2::configDirectory(), m_root / ".config");
    EXPECT_EQ(IProductLocations::get()->getTempDirectory(), m_root / ".cache/lokata");
    ::setenv("XDG_CACHE_HOME", (m_root / "cache/").c_str(), 1);
    EXPECT_EQ(IProductLocations::get()->getTempDirectory(), m_root / "cache/lokata");
    ::unsetenv("XDG_CACHE_HOME");
    ::setenv("HOME", old.c_str(), 1);
}

TEST_F(ProductLocations, WhatIsNotAPrivateDirectoryIsRefusedAndLeftAsItIs) {
    fs::path const open = m_tree.dir("open");
    for (mode_t const each : {0755U, 0710U, 0701U, 0777U, 0500U}) {
        chmod(open.c_str(), each);
        EXPECT_EQ(given(open), "") << each;
        EXPECT_EQ(mode(open), each);
    }

    fs::path const own = m_root / "own";
    ASSERT_EQ(given(own), own);
    m_tree.link("link", "own");
    m_tree.link("dangling", m_tree.path("nowhere"));
    EXPECT_EQ(mkfifo(m_tree.path("pipe").c_str(), 0700), 0);
    for (char const* const name : {"link", "link/", "dangling", "pipe"})
        EXPECT_EQ(given(m_root / name), "") << name;

    fs::path const below = m_root / "above/own";
    ASSERT_EQ(given(below), below);
    chmod((m_root / "above").c_str(), 0777);
    EXPECT_EQ(given(below), "") << "others could put their own in its place";
    chmod((m_root / "above").c_str(), 01777);
    EXPECT_EQ(given(below), below);
}

TEST_F(ProductLocations, ADirectoryOfAnotherUserIsRefused) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root, to give a directory to another user";
    fs::path const own = m_root / "above/own";
    for (fs::path const& theirs : {own, own.parent_path()}) {
        ASSERT_EQ(given(own), own);
        ASSERT_EQ(chown(theirs.c_str(), c_somebodyElse, c_somebodyElse), 0);
        EXPECT_EQ(given(own), "") << theirs;
        ASSERT_EQ(chown(theirs.c_str(), 0, 0), 0);
    }
}

} // namespace
