#include <lokata2/utils.h>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace {

using namespace LK_2_13;

TEST(CanonicalName, IsTheNormalFormOfAnyPath) {
    EXPECT_EQ(utils::getCanonicalName(R"(C:\a\b)", false), "C:/a/b");
    EXPECT_EQ(utils::getCanonicalName(R"(\\host\a\)", false), "//host/a");
    EXPECT_EQ(utils::getCanonicalName(R"(\a\b)", false), R"(\a\b)");
    EXPECT_EQ(utils::getCanonicalName("/a/./b/../c", false), "/a/c");
    EXPECT_EQ(utils::getCanonicalName("/a/b/.", false), "/a/b");
    EXPECT_EQ(utils::getCanonicalName("/a/b/", false), "/a/b");
    EXPECT_EQ(utils::getCanonicalName("sub/File.C", false), "sub/File.C");
    EXPECT_EQ(utils::getCanonicalName(".", false), ".");
}

TEST(CanonicalName, EndsWithOneSeparatorIfAsked) {
    for (char const* name : {"/a/b", "/a/b/", "/a/b/.", "/a/b//", "/a/b/c/../"})
        EXPECT_EQ(utils::getCanonicalName(name, true), "/a/b/") << name;
    EXPECT_EQ(utils::getCanonicalName("/", true), "/");
    EXPECT_EQ(utils::getCanonicalName("a/..", true), "./");
    EXPECT_EQ(utils::getCanonicalName("", true), "");
    EXPECT_EQ(utils::getCanonicalName(nullptr, true), "");
}

TEST(CanonicalName, IsComparedByUnsignedBytes) {
    EXPECT_EQ(utils::compareCanonicalFileNames("a", "A"), 1);
    EXPECT_EQ(utils::compareCanonicalFileNames("a", "ab"), -1);
    EXPECT_EQ(utils::compareCanonicalFileNames("a\xff", "a\x01"), 1);
    EXPECT_EQ(utils::compareCanonicalFileNames("ab", "ab"), 0);
    EXPECT_EQ(utils::compareCanonicalFileNames(nullptr, ""), 0);
}

TEST(Name, IsTakenApartAndPutTogether) {
    EXPECT_EQ(utils::getFileNameOnly("/x/libz.so.1"), "libz.so.1");
    EXPECT_EQ(utils::getFileNameBase("/x/libz.so.1"), "libz.so");
    EXPECT_EQ(utils::getFileNameBase(nullptr), "");
    EXPECT_EQ(utils::addSubPart("/x", "/y/z"), "/x/y/z");
    EXPECT_EQ(utils::toUpper("aB1\xe4"), "AB1\xe4");
    EXPECT_EQ(utils::toUpper(nullptr), "");
}

TEST(UserId, IsTheLoginNameOrThatOfTheEffectiveUser) {
    char const* const login = getlogin();
    passwd const* const entry = getpwuid(geteuid());
    std::string const expected = login != nullptr ? login : entry != nullptr ? entry->pw_name : "";
    EXPECT_EQ(utils::getUserId(), expected.empty() ? "unknown_user" : expected);
}

} // namespace
