#include <brace/debug.h>

#include <gtest/gtest.h>

#include <string>

namespace {

namespace debug = BRACE_2_18::debug;

std::string g_reported;

void remember(char const* text, char const* file, char const* function) {
    g_reported = std::string(text) + '|' + file + '|' + function;
}

TEST(Debug, AReportGoesToTheHandlerInForceAndElseToStderr) {
    debug::handler_t const old = debug::set_handler(&remember);
    debug::report("Null pointer", "a.cpp", nullptr);
    EXPECT_EQ(g_reported, "Null pointer|a.cpp|");
    EXPECT_EQ(debug::set_handler(nullptr), &remember);
    testing::internal::CaptureStderr();
    debug::report("Invalid category", "b.cpp", "int g(int)");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Invalid category, at file: b.cpp, in function: int g(int)\n");
    debug::set_handler(old);
}

} // namespace
