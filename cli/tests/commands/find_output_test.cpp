#include "commands/find_output.h"

#include <gtest/gtest.h>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

TEST(JsonLine, IsAsciiAndKeepsItsKeysWhateverANameHolds) {
    SearchRecord const record{
        scBinaryFiles,
        "a\xff\"b",
        {{"/x\xfe", cfPolicyHigh, ssHighPrioritySearchDirs}},
        {{"/y", vrInvalid, svError, static_cast<search_step_t>(512), "no", {}}}};
    std::string const line = jsonLine(record);
    EXPECT_EQ(line, "{\"category\":\"scBinaryFiles\",\"name\":\"a\\ufffd\\\"b\",\"found\":[{"
                    "\"path\":\"/x\\ufffd\",\"confidence\":\"cfPolicyHigh\",\"step\":"
                    "\"ssHighPrioritySearchDirs\"}],\"rejected\":[{\"path\":\"/y\",\"severity\":"
                    "\"svError\",\"message\":\"no\",\"step\":\"512\"}]}\n");
}

} // namespace
} // namespace lokata::cli
