#include "program_harness.h"

namespace lokata::cli::test {

using namespace testing;

namespace {

using Program = ProgramTest;

TEST_F(Program, TellsItsVersionAndHelp) {
    EXPECT_THAT(run({"--version"}).out, StartsWith("lokata 2."));
    auto const help = run({"find", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, AllOf(HasSubstr("--search-dir"), HasSubstr("--explain")));
}

} // namespace
} // namespace lokata::cli::test
