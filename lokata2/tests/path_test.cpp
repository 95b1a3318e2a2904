#include "lk_path.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace LK_2_13;

TEST(Path, HasOneNormalNameHoweverItIsWritten) {
    for (auto name : {"/a/b", "/a/b/", "/a/b/.", "/a/b/./", "/a/./b", "/a//b", "/a/x/../b",
                      "/../a/b", "/a/b/x/.."})
        EXPECT_EQ(paths::normalName(name), "/a/b") << name;
    for (auto name : {".", "./", "./.", "a/..", "a/../"})
        EXPECT_EQ(paths::normalName(name), ".") << name;
    for (auto name : {"/", "///", "/.", "/..", "/a/.."})
        EXPECT_EQ(paths::normalName(name), "/") << name;
    for (auto name : {"//host", "//host/", "//host/.", "//host/a/..", "//host/.."})
        EXPECT_EQ(paths::normalName(name), "//host") << name;
    EXPECT_EQ(paths::normalName("//host/a/"), "//host/a");
    EXPECT_EQ(paths::normalName(""), "");
    EXPECT_EQ(paths::normalName("a/../../b/.."), "..");
    EXPECT_EQ(paths::normalName("../.././..a/c."), "../../..a/c.");
    EXPECT_EQ(paths::normal("/a/./b/."), "/a/b/");
}

TEST(Path, IsAppendedBelowADirectoryAndNeverInItsPlace) {
    for (auto directory : {"/a", "/a/", "/a//"})
        for (auto part : {"b", "/b", "//b"})
            EXPECT_EQ(paths::join(directory, part), "/a/b") << directory << " and " << part;
    EXPECT_EQ(paths::join("/a", ""), "/a/");
    EXPECT_EQ(paths::join("/", ""), "/");
    EXPECT_EQ(paths::join("/", "//host/b"), "/host/b");
    EXPECT_EQ(paths::join("", "/b"), "/b");
}

TEST(Path, EndsWhenItsParentsAreFollowed) {
    auto const parents = [](std::string_view path) {
        std::string all;
        for (path = paths::parent(path); !path.empty(); path = paths::parent(path))
            all.append(path).append(" ");
        return all;
    };
    EXPECT_EQ(parents("/a/b/c"), "/a/b /a / ");
    EXPECT_EQ(parents("/a//b/"), "/a//b /a / ");
    EXPECT_EQ(parents("a/b/c"), "a/b a ");
    EXPECT_EQ(parents("//host/a/b"), "//host/a //host ");
    for (auto path : {"/", "//", "a", "", "//host"})
        EXPECT_EQ(parents(path), "") << path;
}

TEST(Path, SplitsIntoNameStemAndExtension) {
    struct {
        std::string_view path, name, stem, extension;
    } const cases[] = {
        {"/x/libz.so.1", "libz.so.1", "libz.so", ".1"},
        {"/x.d/vmlinux", "vmlinux", "vmlinux", ""},
        {"/x/.hidden", ".hidden", "", ".hidden"},
        {"/x/a.", "a.", "a", "."},
        {"/x/", ".", ".", ""},
        {"/x/..", "..", "..", ""},
        {"/", "/", "/", ""},
        {"//host", "//host", "//host", ""},
        {"", "", "", ""},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(paths::fileName(c.path), c.name) << c.path;
        EXPECT_EQ(paths::stem(c.path), c.stem) << c.path;
        EXPECT_EQ(paths::extension(c.path), c.extension) << c.path;
    }
}

TEST(Path, IsRootedByADirectoryAndNotByAHostAlone) {
    for (auto path : {"/", "/a", "//host/", "//host/a"})
        EXPECT_TRUE(paths::isRooted(path)) << path;
    for (auto path : {"", "a/b", "C:/a", "//host"})
        EXPECT_FALSE(paths::isRooted(path)) << path;
}

TEST(Path, GetsSlashesOnlyIfItLooksLikeAWindowsPath) {
    auto const fixed = [](std::string path) {
        paths::fixWindowsSeparators(path);
        return path;
    };
    EXPECT_EQ(fixed(R"(C:\a\b)"), "C:/a/b");
    EXPECT_EQ(fixed(R"(\\host\a)"), "//host/a");
    for (auto path : {R"(\a\b)", R"(/a\b)", R"(CD:\a)", R"(C:/a\b)", R"(\)", ""})
        EXPECT_EQ(fixed(path), path);
}

} // namespace
