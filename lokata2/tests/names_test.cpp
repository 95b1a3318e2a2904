#include <lokata2/utils.h>

#include <gtest/gtest.h>

namespace {

using namespace LK_2_13;

TEST(CanonicalName, IsTheNormalFormWithOneSeparatorAtItsEndIfAsked) {
    for (char const* name : {"/a/b", "/a/b/", "/a/b/.", "/a/b//", "/a/./b/c/../"}) {
        EXPECT_EQ(utils::getCanonicalName(name, false), "/a/b") << name;
        EXPECT_EQ(utils::getCanonicalName(name, true), "/a/b/") << name;
    }
    EXPECT_EQ(utils::getCanonicalName(R"(C:\a\b\)", false), "C:/a/b");
    EXPECT_EQ(utils::getCanonicalName("sub/File.C", false), "sub/File.C");
    EXPECT_EQ(utils::getCanonicalName("/", true), "/");
    EXPECT_EQ(utils::getCanonicalName("a/..", true), "./");
    EXPECT_EQ(utils::getCanonicalName("", true), "");
    EXPECT_EQ(utils::getCanonicalName(nullptr, true), "");
}

TEST(CanonicalName, IsComparedByUnsignedBytes) {
    EXPECT_EQ(utils::compareCanonicalFileNames("a", "A"), 1);
    EXPECT_EQ(utils::compareCanonicalFileNames("a", "ab"), -1);
    EXPECT_EQ(utils::compareCanonicalFileNames("a\xff", "a\x01"), 1);
    EXPECT_EQ(utils::compareCanonicalFileNames(nullptr, ""), 0);
}

} // namespace
