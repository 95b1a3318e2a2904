#include <brace/debug.h>

#include <gtest/gtest.h>

#include <string>

namespace {

namespace debug = BRACE_2_18::debug;

std::string g_reported;

void remember(char const* text, char const* file, char const* function) {
    g_reported = std::string(text) + '|' + file + '|' + function;
}

TEST(Debug, AReportGoesToTheHandlerInForceAndNullTextsReadAsEmpty) {
    debug::handler_t const old = debug::set_handler(&remember);
    debug::report("Null pointer", "a.cpp", "void f()");
    EXPECT_EQ(g_reported, "Null pointer|a.cpp|void f()");
    debug::report(nullptr, nullptr, nullptr);
    EXPECT_EQ(g_reported, "||");
    EXPECT_EQ(debug::set_handler(old), &remember);
}

TEST(Debug, WithoutAHandlerAReportIsALineOnStderrAndTheProgramGoesOn) {
    debug::set_handler(&remember);
    debug::set_handler(nullptr);
    testing::internal::CaptureStderr();
    debug::report("Invalid category", "b.cpp", "int g(int)");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Invalid category, at file: b.cpp, in function: int g(int)\n");
}

} // namespace
