#include "program_harness.h"

#include "child_process.h"

#include <algorithm>

namespace fs = std::filesystem;
namespace lokata::cli::test {

using namespace testing;

namespace {

using DirsProgram = ProgramTest;

TEST_F(DirsProgram, KeepsDirectoriesInTheFormThatFindTakes) {
    std::string const tool = file("lib/deep/tool");
    EXPECT_EQ(run({"dirs", "list"}).out, "");
    EXPECT_FALSE(fs::exists(path("config")));

    EXPECT_EQ(run({"dirs", "add", "bin=lib", "src:p=/s/"}).status, 0);
    EXPECT_EQ(run({"dirs", "add", "bin:r=" + path("lib/.")}).status, 0);
    EXPECT_EQ(run({"dirs", "list"}).out, "bin:r=" + path("lib") + "\nsrc:p=/s/\n");
    EXPECT_EQ(run({"dirs", "list", "src", "all"}).out, "src:p=/s/\n");
    EXPECT_EQ(run({"find", "bin", "tool"}).out, tool + "\n");
    EXPECT_EQ(run({"find", "bin", "tool", "--no-user"}).status, 1);
    EXPECT_EQ(run({"dirs", "list", "--store", "other"}).out, "");

    EXPECT_EQ(run({"dirs", "remove", "bin=/nowhere", "src=/s"}).text(),
              "1\nlokata: \"bin=/nowhere\": is not in the store\n");
    EXPECT_EQ(run({"dirs", "list"}).out, "bin:r=" + path("lib") + "\n");
    EXPECT_EQ(run({"dirs", "clear", "src"}).status, 0);
    EXPECT_NE(run({"dirs", "list"}).out, "");
    EXPECT_EQ(run({"dirs", "clear"}).status, 0);
    EXPECT_EQ(run({"dirs", "list"}).out, "");
}

TEST_F(DirsProgram, NeverOverwritesADamagedStore) {
    std::string const damaged(4096, 'x');
    std::string const store = file("store", damaged);
    for (std::vector<std::string> const& words :
         std::vector<std::vector<std::string>>{{"dirs", "add", "bin=/x", "--store", store},
                                               {"dirs", "clear", "--store", store},
                                               {"dirs", "list", "--store", store},
                                               {"find", "bin", "x", "--store", store}})
        EXPECT_THAT(run(words).text(), AllOf(StartsWith("2\nlokata: "), HasSubstr(store)));
    EXPECT_EQ(contentOf(store), damaged);
}

TEST_F(DirsProgram, LosesNothingWhenManyAddAtOnce) {
    auto const adding = [this](std::string const& prefix) {
        return [this, prefix](ChildProcess::report_t const& /*report*/) {
            Workplace const own;
            for (int i = 0; i < 8; ++i)
                if (own.run({"dirs", "add", "--store", path("store"), prefix + std::to_string(i)})
                        .status != 0)
                    ::_exit(1);
        };
    };
    ChildProcess const children[]{ChildProcess(adding("bin=/a")), ChildProcess(adding("bin=/b")),
                                  ChildProcess(adding("bin=/c"))};
    for (ChildProcess const& child : children)
        EXPECT_EQ(child.wait(), 0);
    std::string const list = run({"dirs", "list", "--store", "store"}).out;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 24);
}

} // namespace
} // namespace lokata::cli::test
