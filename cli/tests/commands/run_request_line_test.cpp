#include "commands/run_request_line.h"

#include <gtest/gtest.h>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

TEST(RequestLine, ReadsWordsQuotesAndJson) {
    auto const words = parseRequestLine("sym\t\"a \\\"b\\\".so\"  /bin/x md5:0 \r");
    ASSERT_TRUE(words);
    EXPECT_EQ(words->category, scSymbolFiles);
    EXPECT_EQ(words->name, "a \"b\".so");
    EXPECT_EQ(words->binary, "/bin/x");
    EXPECT_EQ(words->checksum, "md5:0");

    auto const json = parseRequestLine(R"( {"category":"src","name":"a b\n.c","binary":null})");
    ASSERT_TRUE(json);
    EXPECT_EQ(json->category, scSourceFiles);
    EXPECT_EQ(json->name, "a b\n.c");
    EXPECT_TRUE(json->binary.empty());

    EXPECT_FALSE(parseRequestLine("") || parseRequestLine("\v\f "));
    EXPECT_FALSE(parseRequestLine("  # bin name"));
}

TEST(RequestLine, RejectsWhatIsNoRequest) {
    for (std::string const& line :
         std::vector<std::string>{"bin",
                                  "bin \"\"",
                                  "all x",
                                  "bin a b",
                                  "bin \"a",
                                  "src a b c d",
                                  "{\"category\":\"bin\"}",
                                  R"({"category":"bin","name":1})",
                                  "{",
                                  R"({"category":"bin","name":"a\u0000b"})",
                                  {"bin a\0b", 7},
                                  R"({"category":"sym","name":"a","binary":"b\u0000c"})",
                                  R"({"category":"bin","name":"a","binary":"b"})",
                                  "bin " + std::string(65536, 'a'),
                                  R"({"category":"bin","name":"a","nmae":"b"})"})
        EXPECT_THROW(parseRequestLine(line), MalformedLine) << line;
}

} // namespace
} // namespace lokata::cli
