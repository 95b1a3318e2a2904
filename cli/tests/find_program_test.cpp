#include "program_harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

namespace lokata::cli::test {
namespace {

constexpr char const* md5OfContent = "9a0364b9e99bb480dd25e1f0284c8555";

class FindProgram : public testing::Test {
protected:
    /// `find` with the steps that look where the test says, and not in the system.
    Outcome find(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "find");
        arguments.insert(arguments.end(),
                         {"--steps", "ArchiveSearchDirs,HighPrioritySearchDirs,CacheSearchDir,"
                                     "AbsoluteNameLookup,LowPrioritySearchDirs"});
        return place.run(arguments);
    }

    nlohmann::json findJson(std::vector<std::string> arguments) const {
        arguments.emplace_back("--json");
        return nlohmann::json::parse(find(arguments).out);
    }

    Workplace place;
};

TEST_F(FindProgram, PrintsThePathAloneAndNothingWhenThereIsNone) {
    std::string const file = place.file("lib/deep/libz.so.1");
    std::string const dir = "bin:r=" + place.path("lib");

    auto const found = place.run({"find", "bin", "libz.so.1", "-d", dir});
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(found.out, file + "\n");
    EXPECT_EQ(found.err, "");

    auto const missing = place.run({"find", "bin", "no-such", "-d", dir});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out + missing.err, "");
    EXPECT_FALSE(fs::exists(place.path("config"))) << "a search makes no store";
}

TEST_F(FindProgram, NamesTheArgumentAtFaultInOneLine) {
    struct Case {
        std::vector<std::string> arguments;
        std::string fault;
    };
    for (Case const& wrong :
         std::vector<Case>{{{}, "subcommand"},
                           {{"find", "bin"}, "NAME"},
                           {{"find", "all", "x"}, "CATEGORY"},
                           {{"find", "bin", ""}, "NAME"},
                           {{"find", "bin", "x", "-d", "lib=/x"}, "\"lib=/x\""},
                           {{"find", "bin", "x", "--archive", ""}, "--archive"},
                           {{"find", "bin", "x", "--steps", "Nowhere"}, "--steps: \"Nowhere\""},
                           {{"find", "bin", "x", "--expect", "md5:1"}, "--expect: \"md5:1\""},
                           {{"find", "bin", "x", "--expect-size", "many"}, "--expect-size"},
                           {{"find", "bin", "x", "--not-newer-than", "/"}, "--not-newer-than"},
                           {{"find", "bin", "x", "--policy", "maybe"}, "--policy"},
                           {{"find", "bin", "x", "--nonsense"}, "--nonsense"}}) {
        auto const outcome = place.run(wrong.arguments);
        EXPECT_EQ(outcome.status, 2) << wrong.fault;
        EXPECT_EQ(outcome.out, "") << wrong.fault;
        EXPECT_THAT(outcome.err, StartsWith("lokata: "));
        EXPECT_THAT(outcome.err, HasSubstr(wrong.fault));
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    }
}

TEST_F(FindProgram, AllPrintsTheFilesOfAllStepsInTheirOrder) {
    std::string const low = place.file("low/tool");
    std::string const high = place.file("high/tool");
    std::vector<std::string> const dirs{"-d", "bin=" + place.path("low"), "-d",
                                        "all:p=" + place.path("high")};
    std::vector<std::string> arguments{"bin", "tool"};
    arguments.insert(arguments.end(), dirs.begin(), dirs.end());
    EXPECT_EQ(find(arguments).out, high + "\n");
    EXPECT_EQ(findJson(arguments)["found"].size(), 1U);

    arguments.emplace_back("--all");
    EXPECT_EQ(find(arguments).out, high + "\n" + low + "\n");
    auto const found = findJson(arguments)["found"];
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0], nlohmann::json({{"path", high},
                                        {"confidence", "cfPolicyHigh"},
                                        {"step", "ssHighPrioritySearchDirs"}}));
    EXPECT_EQ(found[1]["step"], "ssLowPrioritySearchDirs");
}

TEST_F(FindProgram, EndsInADirectoryLoopOfLinks) {
    place.file("tree/a/b/other");
    fs::create_directory_symlink("../..", place.path("tree/a/b/up"));
    fs::create_directory_symlink(".", place.path("tree/self"));
    EXPECT_EQ(find({"bin", "tool", "-d", "bin:r=" + place.path("tree")}).status, 1);
    std::string const file = place.file("tree/z/tool");
    EXPECT_EQ(find({"bin", "tool", "-d", "bin:r=" + place.path("tree")}).out, file + "\n");
}

TEST_F(FindProgram, RefusesPipesAndDirectoriesAndPassesOverDanglingLinks) {
    fs::create_directories(place.path("dir/tool"));
    fs::create_directories(place.path("pipe"));
    ASSERT_EQ(::mkfifo(place.path("pipe/tool").c_str(), 0600), 0);
    fs::create_directories(place.path("link"));
    fs::create_symlink("nowhere", place.path("link/tool"));

    auto const record = findJson({"bin", "tool", "-d", "bin=" + place.path("dir"), "-d",
                                  "bin=" + place.path("pipe"), "-d", "bin=" + place.path("link")});
    EXPECT_TRUE(record["found"].empty());
    auto const& rejected = record["rejected"];
    ASSERT_EQ(rejected.size(), 2U) << record;
    EXPECT_EQ(rejected[0]["path"], place.path("dir/tool"));
    EXPECT_EQ(rejected[1], nlohmann::json({{"path", place.path("pipe/tool")},
                                           {"severity", "svError"},
                                           {"message", "\"" + place.path("pipe/tool") +
                                                           "\" is not a regular file."},
                                           {"step", "ssLowPrioritySearchDirs"}}));
}

TEST_F(FindProgram, RefusesAFileThatTheUserMayNotRead) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs to be root, to become somebody else";
    std::string const file = place.file("lib/tool");
    fs::permissions(file, fs::perms::owner_read);
    fs::permissions(place.path(), fs::perms(0755));
    fs::permissions(place.path("lib"), fs::perms(0755));
    auto const outcome = place.run(
        {"find", "bin", "tool", "--no-user", "--explain", "-d", "bin=" + place.path("lib")}, {},
        [] {
            if (::setgid(65534) != 0 || ::setuid(65534) != 0)
                ::_exit(125);
        });
    if (outcome.status == 127)
        GTEST_SKIP() << "the program cannot be run by another user from where it was built";
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "refused  " + file +
                               "  [ssLowPrioritySearchDirs, svError]  The file \"" + file +
                               "\" cannot be opened for reading.\n");
}

TEST_F(FindProgram, FindsAnArchivedFileInTheArchiveStepAndInTheNearestArchiveFirst) {
    std::string const file = place.file("tool");
    auto const archived =
        place.run({"archive", file, "--into", place.path("far"), "--category", "bin"});
    std::string const far = place.path("far/binaries/tool/" + std::string(md5OfContent) + "/tool");
    EXPECT_EQ(archived.status, 0);
    EXPECT_EQ(archived.out, far + "\n");
    auto const again =
        place.run({"archive", file, "--into", place.path("far"), "--category", "bin"});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.out, far + "\n");

    auto const record = findJson({"bin", "tool", "--archive", place.path("far")});
    EXPECT_EQ(record["found"][0]["path"], far);
    EXPECT_EQ(record["found"][0]["step"], "ssArchiveSearchDirs");
    EXPECT_EQ(find({"sym", "tool", "--archive", place.path("far")}).status, 1);

    std::string const other = place.file("tool", "other content");
    std::string const near =
        place.run({"archive", other, "--into", place.path("near"), "--category", "bin"}).out;
    EXPECT_EQ(
        find({"bin", "tool", "--archive", place.path("near"), "--archive", place.path("far")}).out,
        near);
    EXPECT_EQ(
        find({"bin", "tool", "--archive", place.path("far"), "--archive", place.path("near")}).out,
        far + "\n");
}

TEST_F(FindProgram, ArchivesIntoTheNearestContextThatHasAnArchive) {
    fs::create_directories(place.path("child"));
    fs::create_directories(place.path("parent/archive"));
    std::string const file = place.file("tool");
    auto const outcome =
        place.run({"archive", file, "--context", "child", "--context", place.path("parent")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::string const expected =
        place.path("parent/archive/all/tool/" + std::string(md5OfContent) + "/tool");
    EXPECT_EQ(outcome.out, expected + "\n");
    EXPECT_TRUE(fs::exists(expected));
    EXPECT_EQ(find({"sym", "tool", "--context", "child", "--context", place.path("parent")}).out,
              expected + "\n");

    auto const none = place.run({"archive", file, "--context", "child"});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, "lokata: --context: none of the contexts has an archive\n");
}

TEST_F(FindProgram, TakesContextsThatComeTwiceForOne) {
    place.file("run/binaries/tool");
    auto const outcome = find({"bin", "tool", "--result", "run", "--context", place.path("run"),
                               "--context", "run/", "--context", "other", "--context", "run"});
    EXPECT_EQ(outcome.out, place.path("run/binaries/tool") + "\n");
}

TEST_F(FindProgram, NamingACacheSwitchesItsStepOn) {
    std::string const cached = place.file("cache/tool/0123/tool");
    auto const outcome =
        place.run({"find", "bin", "tool", "--cache", place.path("cache"), "--json"});
    auto const record = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(record["found"][0]["path"], cached);
    EXPECT_EQ(record["found"][0]["step"], "ssCacheSearchDir");
}

TEST_F(FindProgram, SaysWhatWasExpectedAndWhatWasFound) {
    std::string const file = place.file("src/main.c");
    timespec const times[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    std::string const reference = place.file("built");
    timespec const earlier[2] = {{900, 0}, {900, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, reference.c_str(), earlier, 0), 0);

    auto const refused = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"src", "main.c", "-d", "src=" + place.path("src")});
        auto const record = findJson(arguments);
        return record["rejected"].size() == 1
                   ? record["rejected"][0]["severity"].get<std::string>() + " " +
                         record["rejected"][0]["message"].get<std::string>()
                   : record["found"][0]["confidence"].get<std::string>();
    };
    std::string const right = "md5:" + std::string(md5OfContent);
    std::string const wrong = "md5:" + std::string(32, '0');
    EXPECT_EQ(refused({"--expect", right}), "cfValidated");
    EXPECT_THAT(refused({"--expect", right, "--expect", wrong}),
                AllOf(StartsWith("svWarning "), HasSubstr("(expected md5 " + std::string(32, '0') +
                                                          ", found " + md5OfContent + ")")));
    EXPECT_EQ(refused({"--expect-mtime", "1000", "--expect-size", "7"}), "cfValidated");
    EXPECT_THAT(refused({"--expect-mtime", "999"}), HasSubstr("(expected time 999, found 1000)"));
    EXPECT_EQ(refused({"--expect-mtime", "999", "--except-dir", place.path("src")}), "cfValidated");
    EXPECT_THAT(refused({"--expect-size", "8"}), HasSubstr("(expected 8 bytes, found 7)"));
    EXPECT_THAT(refused({"--not-newer-than", reference}),
                HasSubstr("(expected time 900 or before, found 1000)"));
    EXPECT_EQ(refused({"--not-newer-than", file, "--policy", "reject"}), "cfValidated");
    EXPECT_EQ(refused({"--policy", "low"}), "cfPolicyLow");
    EXPECT_EQ(refused({"--policy", "reject"}), "svNone ");
}

TEST_F(FindProgram, SuggestsAPathBeforeAllSteps) {
    place.file("lib/tool");
    std::string const suggested = place.file("elsewhere/renamed");
    auto const record =
        findJson({"bin", "tool", "-d", "bin:p=" + place.path("lib"), "--suggest", suggested});
    EXPECT_EQ(record["found"][0]["path"], suggested);
    EXPECT_EQ(record["found"][0]["step"], "ssAskUser");
}

TEST_F(FindProgram, RunsTheKernelFallbacksOnlyForAKnownRelease) {
    auto const record = findJson({"bin", "vmlinux", "--kernel-release", "0.0-lokata-test"});
    EXPECT_TRUE(record["found"].empty());
    auto const log = place.run({"-v", "find", "bin", "vmlinux", "--kernel-release",
                                "0.0-lokata-test", "--steps", "AbsoluteNameLookup"});
    EXPECT_EQ(log.status, 1);
    EXPECT_THAT(log.err, HasSubstr("Searching bin file:/boot/vmlinuz-0.0-lokata-test"));
    EXPECT_THAT(log.err, Not(HasSubstr("ENTER: ")));
    auto const trace = place.run({"-vv", "find", "bin", "vmlinux", "--steps", "AskUser"});
    EXPECT_THAT(trace.err, HasSubstr("ENTER: "));
    EXPECT_THAT(trace.err, Not(HasSubstr("/boot/vmlinuz-")));
}

TEST_F(FindProgram, FailsWhenNobodyReadsItsAnswer) {
    place.file("lib/tool");
    auto const outcome =
        place.run({"find", "bin", "tool", "-d", "bin=" + place.path("lib")}, {}, [] {
            int const full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
            ::dup2(full, STDOUT_FILENO);
        });
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("lokata: standard output: "));
}

} // namespace
} // namespace lokata::cli::test
