#include "program_harness.h"

#include "child_process.h"

#include <csignal>

namespace lokata::cli::test {

using namespace testing;

namespace {

using RunProgram = ProgramTest;

std::string const c_requests = "# a comment\nbin tool\nbin absent\n\v\n"
                               "{\"category\":\"bin\",\"name\":\"tool\"}\nbin absent\n";

TEST_F(RunProgram, AnswersEachLineAndTellsWhatIsMissing) {
    file("lib/tool");
    std::string const answers = "1\nbin\ttool\tlib/tool\nbin\tabsent\t-\n"
                                "bin\ttool\tlib/tool\nbin\tabsent\t-\n";
    for (char const* const history : {"off", "suggest", "only"})
        EXPECT_EQ(run({"run", "-", "--history", history, "-d", "bin=lib"}, c_requests).text(),
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
                                 c_requests);
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
    std::string const both =
        line + c_md5OfContent + "\"}\n" + line + c_md5OfAbc + "\"}\nbin tool\n";
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
             {"run", "\033\n"}, {"find", "bin", "\033\n"}, {"\033\n"}})
        EXPECT_THAT(run(words).err, AllOf(HasSubstr("\\x1b\\x0a"), Not(HasSubstr("\033"))));
}

TEST_F(RunProgram, ReportsABrokenLineWithItsNumberAndGoesOn) {
    file("tool");
    std::string const line = "src tool /bin/x md5:";
    std::string const repeated = R"({"category":"src","name":"tool","checksum":null,"name":"a"})";
    auto const outcome = run({"run", "-", "--json", "-d", "src=."},
                             "src\n" + line + c_md5OfContent + "\n" + line + c_md5OfAbc + "\n" +
                                 repeated + "\nsrc tool /bin/x " + c_md5OfContent);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("lokata: standard input:1: the name is missing\n"
                                        "lokata: standard input:4: \"name\" comes twice\n"
                                        "lokata: standard input:5: \"" +
                                        c_md5OfContent + "\" is not md5: with 32"));
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

} // namespace
} // namespace lokata::cli::test
