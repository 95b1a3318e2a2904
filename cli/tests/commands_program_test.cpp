#include "program_harness.h"
#include "support/inputs.h"

#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optstore2/product_locations.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
namespace lokata::cli::test {

using namespace testing;

namespace {

TEST(ChecksumProgram, PrintsTheFormOfMd5sumAndGoesOnAfterAFailure) {
    Workplace const place;
    place.file("a b");
    place.file("new\nline\\");
    auto const outcome = place.run({"checksum", "a b", "missing", ".", "new\nline\\", "-"}, "abc");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, md5OfContent + "  a b\n\\" + md5OfContent +
                               "  new\\nline\\\\\n"
                               "900150983cd24fb0d6963f7d28e17f72  -\n");
    EXPECT_EQ(outcome.err, "lokata: missing: No such file or directory\n"
                           "lokata: .: Is a directory\n");
    EXPECT_EQ(place.run({"checksum", "--sha1", "-"}, "abc").out,
              "a9993e364706816aba3e25717850c26c9cd0d89d  -\n");
    place.file("[x]");
    EXPECT_EQ(place.run({"checksum", "[x]"}).out, md5OfContent + "  ./[x]\n");
}

TEST(DirsProgram, KeepsDirectoriesInTheFormThatFindTakes) {
    Workplace const place;
    std::string const file = place.file("lib/deep/tool");
    EXPECT_EQ(place.run({"dirs", "list"}).out, "");
    EXPECT_FALSE(fs::exists(place.path("config")));

    EXPECT_EQ(place.run({"dirs", "add", "bin=lib", "src:p=/s/"}).status, 0);
    EXPECT_EQ(place.run({"dirs", "add", "bin:r=" + place.path("lib/.")}).status, 0);
    EXPECT_EQ(place.run({"dirs", "list"}).out, "bin:r=" + place.path("lib") + "\nsrc:p=/s/\n");
    EXPECT_EQ(place.run({"dirs", "list", "src", "all"}).out, "src:p=/s/\n");
    EXPECT_EQ(place.run({"find", "bin", "tool"}).out, file + "\n");
    EXPECT_EQ(place.run({"find", "bin", "tool", "--no-user"}).status, 1);
    EXPECT_EQ(place.run({"dirs", "list", "--store", "other"}).out, "");

    auto const missing = place.run({"dirs", "remove", "bin=/nowhere", "src=/s"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "lokata: \"bin=/nowhere\": is not in the store\n");
    EXPECT_EQ(place.run({"dirs", "list"}).out, "bin:r=" + place.path("lib") + "\n");
    EXPECT_EQ(place.run({"dirs", "clear", "src"}).status, 0);
    EXPECT_NE(place.run({"dirs", "list"}).out, "");
    EXPECT_EQ(place.run({"dirs", "clear"}).status, 0);
    EXPECT_EQ(place.run({"dirs", "list"}).out, "");
}

TEST(DirsProgram, NeverOverwritesADamagedStore) {
    Workplace const place;
    std::string const damaged(4096, 'x');
    std::string const store = place.file("store", damaged);
    for (std::vector<std::string> words :
         std::vector<std::vector<std::string>>{{"dirs", "add", "bin=/x"},
                                               {"dirs", "clear"},
                                               {"dirs", "list"},
                                               {"find", "bin", "x"}}) {
        words.insert(words.end(), {"--store", store});
        auto const outcome = place.run(words);
        EXPECT_EQ(outcome.status, 2) << words[1];
        EXPECT_THAT(outcome.err, AllOf(StartsWith("lokata: "), HasSubstr(store)));
    }
    EXPECT_EQ(contentOf(store), damaged);
}

TEST(DirsProgram, LosesNothingWhenManyAddAtOnce) {
    Workplace const place;
    std::vector<pid_t> children;
    for (char const writer : {'a', 'b', 'c'}) {
        children.push_back(::fork());
        if (children.back() != 0)
            continue;
        int status = 0;
        {
            Workplace const own;
            for (int i = 0; i < 8; ++i)
                status |= own.run({"dirs", "add", "--store", place.path("store"),
                                   "bin=/" + std::string(1, writer) + std::to_string(i)})
                              .status;
        }
        ::_exit(status);
    }
    for (pid_t const child : children) {
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    std::string const list = place.run({"dirs", "list", "--store", "store"}).out;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 24);
}

std::string const requests = "# a comment\n"
                             "bin tool\n"
                             "bin absent\n"
                             "\v\n"
                             "{\"category\":\"bin\",\"name\":\"tool\"}\n"
                             "bin absent\n";

TEST(RunProgram, AnswersEachLineAndTellsWhatIsMissing) {
    Workplace const place;
    std::string const file = place.file("lib/tool");
    std::string answers = "bin\ttool\t" + file + "\nbin\tabsent\t-\n";
    answers += answers;
    for (char const* const history : {"off", "suggest", "only"}) {
        auto const outcome = place.run(
            {"run", "-", "--history", history, "-d", "bin=" + place.path("lib")}, requests);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, answers) << history;
        EXPECT_EQ(outcome.err, "");
    }
    place.file("requests", "bin tool\nsym tool\n");
    EXPECT_EQ(place.run({"run", "requests", "-d", "all=" + place.path("lib")}).status, 0);
    EXPECT_EQ(place.run({"run", "nowhere"}).err, "lokata: nowhere: No such file or directory\n");
}

TEST(RunProgram, SearchesARepeatedNameOnce) {
    Workplace const place;
    place.file("lib/tool");
    auto const stepsTaken = [&place](std::string const& history) {
        auto const outcome = place.run({"-vv", "run", "-", "--history", history, "--steps",
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

TEST(RunProgram, RemembersABinaryForTheChecksumThatWasAskedFor) {
    Workplace const place;
    std::string const right = place.file("1/tool");
    std::string const other = place.file("2/tool", "abc");
    std::string const line = R"({"category":"bin","name":"tool","checksum":"md5:)";
    std::string const both =
        line + md5OfContent + "\"}\n" + line + "900150983cd24fb0d6963f7d28e17f72\"}\nbin tool\n";
    std::string answers = "bin\ttool\t" + right + "\nbin\ttool\t" + other + "\n";
    answers += "bin\ttool\t" + right + "\n";
    for (char const* const history : {"suggest", "only"})
        EXPECT_EQ(place
                      .run({"run", "-", "--history", history, "-d", "bin=" + place.path("1"), "-d",
                            "bin=" + place.path("2")},
                           both + both)
                      .out,
                  answers + answers)
            << history;
}

TEST(Names, ControlNeitherTheTerminalNorOtherLines) {
    Workplace const place;
    place.file("d\n\033/a\tb\nbin\tc");
    auto const found = place.run({"run", "-", "-d", "bin:r=."},
                                 "{\"category\":\"bin\",\"name\":\"a\\tb\\nbin\\tc\"}");
    EXPECT_THAT(found.out, AllOf(StartsWith("bin\ta\\x09b\\x0abin\\x09c\t"),
                                 EndsWith("d\\x0a\\x1b/a\\x09b\\x0abin\\x09c\n")));
    EXPECT_EQ(place.run({"dirs", "add", "bin=/\nsrc=\033"}).status, 0);
    EXPECT_EQ(place.run({"dirs", "list"}).out, "bin=/\\x0asrc=\\x1b\n");
    for (std::vector<std::string> const& words : std::vector<std::vector<std::string>>{
             {"run", "\033\n"}, {"find", "bin", "\033\n", "--explain"}, {"\033\n"}})
        EXPECT_THAT(place.run(words).err, AllOf(HasSubstr("\\x1b\\x0a"), Not(HasSubstr("\033"))));
}

TEST(RunProgram, ReportsABrokenLineWithItsNumberAndGoesOn) {
    Workplace const place;
    place.file("tool", "content");
    auto const outcome = place.run({"run", "-", "--json", "-d", "src=."},
                                   "src\n"
                                   "src tool /bin/x md5:9a0364b9e99bb480dd25e1f0284c8555\n"
                                   "src tool /bin/x md5:00000000000000000000000000000000");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "lokata: standard input:1: the name is missing\n");
    EXPECT_THAT(outcome.out, HasSubstr("\"confidence\":\"cfValidated\""));
    EXPECT_THAT(outcome.out, HasSubstr("\"severity\":\"svWarning\""));
}

TEST(RunProgram, EndsBehindAWholeLineWhenInterrupted) {
    Workplace const place;
    int toProgram[2];
    int fromProgram[2];
    ASSERT_EQ(::pipe(toProgram) | ::pipe(fromProgram), 0);
    pid_t const child = ::fork();
    if (child == 0) {
        ::dup2(toProgram[0], STDIN_FILENO);
        ::dup2(fromProgram[1], STDOUT_FILENO);
        ::execl(LOKATA_PROGRAM, LOKATA_PROGRAM, "run", "-", "--no-user", "--steps", "AskUser",
                nullptr);
        ::_exit(127);
    }
    ::close(fromProgram[1]);
    ASSERT_EQ(::write(toProgram[1], "bin x\nbin y", 11), 11);
    std::string answer;
    char c = 0;
    while (c != '\n' && ::read(fromProgram[0], &c, 1) == 1)
        answer += c;
    ::kill(child, SIGINT);
    // The program may not have gone back to reading when the signal came; then it sees the end.
    ::close(toProgram[0]);
    ::close(toProgram[1]);
    int status = 0;
    ::waitpid(child, &status, 0);
    while (::read(fromProgram[0], &c, 1) == 1)
        answer += c;
    ::close(fromProgram[0]);
    EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : -1, SIGINT);
    EXPECT_THAT(answer, AnyOf("bin\tx\t-\n", "bin\tx\t-\nbin\ty\t-\n"));
}

/// Runs the program in this process, so that the kernel cache can be put into the workplace.
int runHere(std::vector<std::string> const& words, std::string& out) {
    std::vector<char const*> argv{"lokata"};
    for (std::string const& word : words)
        argv.push_back(word.c_str());
    testing::internal::CaptureStdout();
    int const status = runProgram(static_cast<int>(argv.size()), argv.data());
    out = testing::internal::GetCapturedStdout();
    return status;
}

TEST(UnpackKernelProgram, FillsThePlaceWhereASearchLooks) {
    Workplace const place;
    std::string kernel("\177ELF\2\1\1", 7);
    for (int i = 0; i < 20000; ++i)
        kernel += static_cast<char>(i * i >> 3);
    std::string const image =
        place.file("boot/vmlinuz-1", "boot sector" + profile::test::gzip(kernel));
    optstore2::IProductLocations::get()->setTempDirectory(place.path("cache").c_str());

    std::string unpacked;
    ASSERT_EQ(runHere({"unpack-kernel", image}, unpacked), 0);
    EXPECT_THAT(unpacked, StartsWith(place.path("cache/vmlinux_cache/")));
    std::string found;
    EXPECT_EQ(runHere({"find", "bin", image, "--no-user"}, found), 0);
    EXPECT_EQ(found, unpacked);

    std::string target;
    EXPECT_EQ(runHere({"unpack-kernel", image, place.path("vmlinux")}, target), 0);
    EXPECT_EQ(target, place.path("vmlinux\n"));
    EXPECT_TRUE(contentOf(place.path("vmlinux")) == kernel);
    optstore2::IProductLocations::get()->setTempDirectory(nullptr);

    for (std::string const& bad : {image, std::string("/dev/null"), place.path("no/such")})
        EXPECT_EQ(place.run({"unpack-kernel", image, bad}).status, 2) << bad;
    EXPECT_TRUE(fs::exists("/dev/null") && fs::is_character_file("/dev/null"));
    EXPECT_THAT(place.run({"unpack-kernel", place.file("text")}).err,
                HasSubstr(place.path("text")));
}

TEST(Program, TellsItsVersionAndHelp) {
    Workplace const place;
    EXPECT_THAT(place.run({"--version"}).out, StartsWith("lokata 2."));
    auto const help = place.run({"find", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    EXPECT_THAT(help.out, AllOf(HasSubstr("--search-dir"), HasSubstr("--explain")));
}

} // namespace
} // namespace lokata::cli::test
