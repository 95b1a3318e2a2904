#include "console/failure.h"
#include "search/enumerator_names.h"
#include "search/search_dir_argument.h"
#include "search/validation_options.h"

#include <gmock/gmock.h>

namespace lokata::cli {

using namespace LK_2_13;
using namespace testing;

namespace {

TEST(SearchDirArgument, ReadsEveryFormThatTheLibraryPrints) {
    auto const dir = parseSearchDir("src:rp=/home/me=you/a:b");
    EXPECT_EQ(dir.category, scSourceFiles);
    EXPECT_TRUE(dir.recursive && dir.priority);
    EXPECT_EQ(dir.directory, "/home/me=you/a:b");

    auto const plain = parseSearchDir("all=C:\\dir");
    EXPECT_EQ(plain.category, scAllFiles);
    EXPECT_FALSE(plain.recursive || plain.priority);
    EXPECT_EQ(plain.directory, "C:\\dir");
    EXPECT_TRUE(parseSearchDir("bin:p=/x").priority);

    for (std::string const text :
         {"", "/usr/lib", "bin", "bin=", "bin:=/x", "bin:q=/x", "Bin=/x", "=/x", "bin:r:p=/x"})
        EXPECT_THAT([&] { parseSearchDir(text); },
                    ThrowsMessage<Failure>(StartsWith("\"" + text + "\": ")));
}

TEST(Steps, AreAUnionOfNamesWithOrWithoutTheirPrefix) {
    EXPECT_EQ(parseSteps("SystemDirs"), ssSystemDirs);
    EXPECT_EQ(parseSteps("CacheSearchDir,ssAbsoluteNameLookup,AskUser"),
              ssCacheSearchDir | ssAbsoluteNameLookup | ssAskUser);
    for (char const* const list : {"", "SystemDirs,", "systemdirs", "SystemDirs,Nowhere"})
        EXPECT_THROW(parseSteps(list), Failure) << list;
}

TEST(Expectations, NeedTheRightNumberOfDigitsAndCategory) {
    std::string const md5 = "md5:D41D8CD98F00B204E9800998ECF8427E";
    std::string const buildId = "build-id:00Ff12";
    auto const isTaken = [](std::string const& text, search_category_t category) {
        return ValidatorSet().addExpected(text, category).empty();
    };
    for (std::string const& right : {md5, "sha1:" + std::string(40, '0'), buildId})
        EXPECT_TRUE(isTaken(right, scSymbolFiles)) << right;
    for (std::string const& wrong :
         {md5 + "0", "sha1:" + md5.substr(4), "md5:" + std::string(32, 'g'),
          std::string("build-id:123"), std::string("md"), md5.substr(4), std::string()})
        EXPECT_FALSE(isTaken(wrong, scBinaryFiles)) << wrong;
    EXPECT_FALSE(isTaken(buildId, scSourceFiles));
}

} // namespace
} // namespace lokata::cli
