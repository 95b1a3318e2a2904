#include "lk_path.h"

#include <lokata2/utils.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include <pwd.h>
#include <unistd.h>

namespace {

using namespace LK_2_13;

TEST(Path, HasOneNormalNameHoweverItIsWritten) {
    struct {
        std::string_view normal;
        std::initializer_list<char const*> spellings;
    } const cases[] = {
        {"/a/b", {"/a/b", "/a/b/", "/a/b/.", "/a/b/./", "/a/./b", "/a//b", "/a/x/../b", "/../a/b"}},
        {".", {".", "./", "./.", "a/..", "a/../"}},
        {"/", {"/", "///", "/.", "/..", "/a/.."}},
        {"//host", {"//host", "//host/", "//host/.", "//host/a/..", "//host/.."}},
        {"..", {"a/../../b/.."}},
        {"../../..a/c.", {"../.././..a/c."}},
        {"", {""}},
    };
    for (auto const& [normal, spellings] : cases)
        for (char const* name : spellings)
            EXPECT_EQ(utils::getCanonicalName(name, false), normal) << name;
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
    for (auto const& [path, expected] :
         {std::pair("/a//b/", "/a//b /a / "), std::pair("a/b/c", "a/b a "),
          std::pair("//host/a/b", "//host/a //host "), std::pair("/", ""), std::pair("//", ""),
          std::pair("a", ""), std::pair("", "")}) {
        std::string all;
        for (auto parent = paths::parent(path); !parent.empty(); parent = paths::parent(parent))
            all.append(parent).append(" ");
        EXPECT_EQ(all, expected) << path;
    }
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

TEST(CanonicalName, KnowsWindowsSeparatorsAndEndsInOneSeparatorIfAsked) {
    EXPECT_EQ(utils::getCanonicalName("/a/./b/c/../", true), "/a/b/");
    EXPECT_EQ(utils::getCanonicalName(R"(C:\a\b\)", true), "C:/a/b/");
    EXPECT_EQ(utils::getCanonicalName(R"(\\host\a)", false), "//host/a");
    EXPECT_EQ(utils::getCanonicalName(R"(C:/a\b)", false), R"(C:/a\b)");
    EXPECT_EQ(utils::getCanonicalName("/", true), "/");
    EXPECT_EQ(utils::getCanonicalName("", true), "");
    EXPECT_EQ(utils::getCanonicalName(nullptr, true), "");
}

TEST(Names, AreTakenApartComparedAndJoinedFromPlainTexts) {
    EXPECT_EQ(utils::getFileNameOnly("/a/b.so.1") + utils::getFileNameOnly(nullptr), "b.so.1");
    EXPECT_EQ(utils::getFileNameBase("/a/b.so.1") + utils::getFileNameBase(nullptr), "b.so");
    EXPECT_EQ(utils::addSubPart("/a", "b") + utils::addSubPart(nullptr, nullptr), "/a/b");
    EXPECT_EQ(utils::toUpper("aZ-1\xe4") + utils::toUpper(nullptr), "AZ-1\xe4");
    EXPECT_EQ(utils::compareCanonicalFileNames("a", "b"), -1);
    EXPECT_EQ(utils::compareCanonicalFileNames("\xff", "a"), 1);
    EXPECT_EQ(utils::compareCanonicalFileNames(nullptr, ""), 0);
    char const* const login = getlogin();
    EXPECT_EQ(utils::getUserId(), login != nullptr ? login : getpwuid(geteuid())->pw_name);
}

} // namespace
