#include "program_harness.h"

#include "child_process.h"
#include "packers.h"
#include "private_dir.h"
#include "program.h"

#include <algorithm>
#include <csignal>

namespace fs = std::filesystem;
namespace lokata::cli::test {

using namespace testing;

namespace {

using ChecksumProgram = ProgramTest;
using DirsProgram = ProgramTest;
using RunProgram = ProgramTest;
using UnpackKernelProgram = ProgramTest;
using Program = ProgramTest;

TEST_F(ChecksumProgram, PrintsTheFormOfMd5sumAndGoesOnAfterAFailure) {
    file("a b");
    file("new\nline\\");
    EXPECT_EQ(run({"checksum", "a b", "missing", ".", "new\nline\\", "-"}, "abc").text(),
              "2\n" + md5OfContent + "  a b\n\\" + md5OfContent + "  new\\nline\\\\\n" + md5OfAbc +
                  "  -\nlokata: missing: No such file or directory\nlokata: .: Is a directory\n");
    EXPECT_EQ(run({"checksum", "--sha1", "-"}, "abc").out,
              "a9993e364706816aba3e25717850c26c9cd0d89d  -\n");
    file("[x]");
    EXPECT_EQ(run({"checksum", "[x]"}).out, md5OfContent + "  ./[x]\n");
}

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

std::string const requests = "# a comment\nbin tool\nbin absent\n\v\n"
                             "{\"category\":\"bin\",\"name\":\"tool\"}\nbin absent\n";

TEST_F(RunProgram, AnswersEachLineAndTellsWhatIsMissing) {
    file("lib/tool");
    std::string const answers = "1\nbin\ttool\tlib/tool\nbin\tabsent\t-\n"
                                "bin\ttool\tlib/tool\nbin\tabsent\t-\n";
    for (char const* const history : {"off", "suggest", "only"})
        EXPECT_EQ(run({"run", "-", "--history", history, "-d", "bin=lib"}, requests).text(),
                  answers)
            << history;
    file("requests", "bin tool\nsym tool\n");
    EXPECT_EQ(run({"run", "requests", "-d", "all=lib"}).status, 0);
    EXPECT_EQ(run({"run", "nowhere"}).err, "lokata: nowhere: No such file or directory\n");
}

TEST_F(RunProgram, SearchesARepeatedNameOnce) {
    file("lib/tool");
    auto const stepsTaken = [this](std::string const& history) {
        auto const outcome = run({"-vv", "run", "-", "--history", history, "--steps",
                                  "LowPrioritySearchDirs", "-d", "bin=lib"},
                                 requests);
        std::istringstream log(outcome.err);
        int count = 0;
        for (std::string line; std::getline(log, line);)
            count += line.find("findInLowPriorityDirs") != std::string::npos ? 1 : 0;
        return count;
    };
    int const once = stepsTaken("suggest");
    EXPECT_EQ(stepsTaken("only"), once);
    EXPECT_EQ(stepsTaken("off"), 2 * once);
}

TEST_F(RunProgram, RemembersABinaryForTheChecksumThatWasAskedFor) {
    file("1/tool");
    file("2/tool", "abc");
    std::string const line = R"({"category":"bin","name":"tool","checksum":"md5:)";
    std::string const both = line + md5OfContent + "\"}\n" + line + md5OfAbc + "\"}\nbin tool\n";
    std::string const answers = "bin\ttool\t1/tool\nbin\ttool\t2/tool\nbin\ttool\t1/tool\n";
    for (std::string const history : {"suggest", "only"})
        EXPECT_EQ(
            run({"run", "-", "--history", history, "-d", "bin=1", "-d", "bin=2"}, both + both).out,
            answers + answers)
            << history;
}

TEST_F(RunProgram, ShowsNamesThatControlNeitherTheTerminalNorOtherLines) {
    file("d\n\033/a\tb\nbin\tc");
    auto const found =
        run({"run", "-", "-d", "bin:r=."}, "{\"category\":\"bin\",\"name\":\"a\\tb\\nbin\\tc\"}");
    EXPECT_THAT(found.out, AllOf(StartsWith("bin\ta\\x09b\\x0abin\\x09c\t"),
                                 EndsWith("d\\x0a\\x1b/a\\x09b\\x0abin\\x09c\n")));
    EXPECT_EQ(run({"dirs", "add", "bin=/\nsrc=\033"}).status, 0);
    EXPECT_EQ(run({"dirs", "list"}).out, "bin=/\\x0asrc=\\x1b\n");
    for (std::vector<std::string> const& words : std::vector<std::vector<std::string>>{
             {"run", "\033\n"}, {"find", "bin", "\033\n", "--explain"}, {"\033\n"}})
        EXPECT_THAT(run(words).err, AllOf(HasSubstr("\\x1b\\x0a"), Not(HasSubstr("\033"))));
}

TEST_F(RunProgram, ReportsABrokenLineWithItsNumberAndGoesOn) {
    file("tool");
    std::string const line = "src tool /bin/x md5:";
    std::string const repeated = R"({"category":"src","name":"tool","checksum":null,"name":"a"})";
    auto const outcome = run({"run", "-", "--json", "-d", "src=."},
                             "src\n" + line + md5OfContent + "\n" + line + md5OfAbc + "\n" +
                                 repeated + "\nsrc tool /bin/x " + md5OfContent);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("lokata: standard input:1: the name is missing\n"
                                        "lokata: standard input:4: \"name\" comes twice\n"
                                        "lokata: standard input:5: \"" +
                                        md5OfContent + "\" is not md5: with 32"));
    EXPECT_THAT(outcome.out, HasSubstr("\"confidence\":\"cfValidated\""));
    EXPECT_THAT(outcome.out, HasSubstr("\"severity\":\"svWarning\""));
}

/// Sends SIGINT when the first of two requests was answered; gives the status and the answers.
std::pair<int, std::string> interrupted(void (*handler)(int)) {
    int toProgram[2];
    int fromProgram[2];
    EXPECT_EQ(::pipe(toProgram) | ::pipe(fromProgram), 0);
    ChildProcess const child([&](ChildProcess::report_t const& /*report*/) {
        std::signal(SIGINT, handler);
        ::close(toProgram[1]);
        ::dup2(toProgram[0], STDIN_FILENO);
        ::dup2(fromProgram[1], STDOUT_FILENO);
        ::execl(LOKATA_PROGRAM, LOKATA_PROGRAM, "run", "-", "--no-user", "--steps", "AskUser",
                nullptr);
    });
    ::close(fromProgram[1]);
    EXPECT_EQ(::write(toProgram[1], "bin x\nbin y", 11), 11);
    std::string answer;
    char c = 0;
    while (c != '\n' && ::read(fromProgram[0], &c, 1) == 1)
        answer += c;
    ::kill(child.pid(), SIGINT);
    // The program may not have gone back to reading when the signal came; then it sees the end.
    ::close(toProgram[0]);
    ::close(toProgram[1]);
    int const status = child.wait();
    while (::read(fromProgram[0], &c, 1) == 1)
        answer += c;
    ::close(fromProgram[0]);
    return {status, answer};
}

TEST_F(RunProgram, EndsBehindAWholeLineWhenInterruptedUnlessThatIsIgnored) {
    auto const [status, answer] = interrupted(SIG_DFL);
    EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : -1, SIGINT);
    EXPECT_THAT(answer, AnyOf("bin\tx\t-\n", "bin\tx\t-\nbin\ty\t-\n"));
    EXPECT_THAT(interrupted(SIG_IGN), Pair(1 << 8, "bin\tx\t-\nbin\ty\t-\n"));
}

/// Runs the program in this process, so that the kernel cache can be put into the workplace.
Outcome runHere(std::vector<std::string> const& words) {
    std::vector<char const*> argv{"lokata"};
    for (std::string const& word : words)
        argv.push_back(word.c_str());
    testing::internal::CaptureStdout();
    int const status = runProgram(static_cast<int>(argv.size()), argv.data());
    return {status, testing::internal::GetCapturedStdout(), ""};
}

TEST_F(UnpackKernelProgram, FillsThePlaceWhereASearchLooks) {
    std::string kernel("\177ELF\2\1\1", 7);
    for (int i = 0; i < 20000; ++i)
        kernel += static_cast<char>(i * i >> 3);
    std::string const image = file("boot/vmlinuz-1", "boot sector" + gzip(kernel));
    LK_2_13::test::PrivateDir const privateDir(path("cache"));

    std::string const unpacked = runHere({"unpack-kernel", image}).text();
    EXPECT_THAT(unpacked, StartsWith("0\n" + path("cache/vmlinux_cache/")));
    EXPECT_EQ(runHere({"find", "bin", image, "--no-user"}).text(), unpacked);
    std::string const copy = unpacked.substr(2, unpacked.size() - 3);
    fs::remove(copy);
    fs::create_symlink("/dev/null", copy);
    EXPECT_EQ(runHere({"unpack-kernel", image}).text(), unpacked) << "in the place of a link";
    EXPECT_EQ(runHere({"unpack-kernel", image, path("vmlinux")}).text(), "0\n" + path("vmlinux\n"));
    EXPECT_TRUE(contentOf(path("vmlinux")) == kernel);
    for (std::string const& bad : {image, std::string("/dev/null"), path("no/such")})
        EXPECT_EQ(run({"unpack-kernel", image, bad}).status, 2) << bad;
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    EXPECT_THAT(run({"unpack-kernel", file("text")}).err, HasSubstr(path("text")));
}

TEST_F(Program, TellsItsVersionAndHelp) {
    EXPECT_THAT(run({"--version"}).out, StartsWith("lokata 2."));
    auto const help = run({"find", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, AllOf(HasSubstr("--search-dir"), HasSubstr("--explain")));
}

} // namespace
} // namespace lokata::cli::test
