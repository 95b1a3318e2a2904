#include "program_harness.h"

namespace lokata::cli::test {

using namespace testing;

namespace {

using ChecksumProgram = ProgramTest;

TEST_F(ChecksumProgram, PrintsTheFormOfMd5sumAndGoesOnAfterAFailure) {
    file("a b");
    file("new\nline\\");
    EXPECT_EQ(run({"checksum", "a b", "missing", ".", "new\nline\\", "-"}, "abc").text(),
              "2\n" + c_md5OfContent + "  a b\n\\" + c_md5OfContent + "  new\\nline\\\\\n" +
                  c_md5OfAbc +
                  "  -\nlokata: missing: No such file or directory\nlokata: .: Is a directory\n");
    EXPECT_EQ(run({"checksum", "--sha1", "-"}, "abc").out,
              "a9993e364706816aba3e25717850c26c9cd0d89d  -\n");
    file("[x]");
    EXPECT_EQ(run({"checksum", "[x]"}).out, c_md5OfContent + "  ./[x]\n");
}

} // namespace
} // namespace lokata::cli::test
