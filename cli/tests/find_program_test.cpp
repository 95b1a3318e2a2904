#include "program_harness.h"

#include "support/elf_builder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
namespace lokata::cli::test {

using namespace testing;

namespace {

class FindProgram : public testing::Test {
protected:
    /// `find` with the steps that look where the test says, and not in the system.
    Outcome find(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "find");
        arguments.insert(arguments.end(),
                         {"--steps", "ArchiveSearchDirs,HighPrioritySearchDirs,CacheSearchDir,"
                                     "AbsoluteNameLookup,LowPrioritySearchDirs"});
        return m_place.run(arguments);
    }

    nlohmann::json findJson(std::vector<std::string> arguments) const {
        arguments.emplace_back("--json");
        return nlohmann::json::parse(find(arguments).out);
    }
    /// "STEP PATH" of the file found.
    std::string found(std::vector<std::string> arguments) const {
        auto const file = findJson(std::move(arguments))["found"].at(0);
        return file["step"].get<std::string>() + " " + file["path"].get<std::string>();
    }

    Workplace m_place;
};

TEST_F(FindProgram, PrintsThePathAloneAndNothingWhenThereIsNone) {
    std::string const file = m_place.file("lib/deep/libz.so.1");
    std::string const dir = "bin:r=" + m_place.path("lib");

    auto const found = m_place.run({"find", "bin", "libz.so.1", "-d", dir});
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(found.out, file + "\n");
    EXPECT_EQ(found.err, "");

    auto const missing = m_place.run({"find", "bin", "no-such", "-d", dir});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out + missing.err, "");
    EXPECT_FALSE(fs::exists(m_place.path("config"))) << "a search makes no store";
}

TEST_F(FindProgram, NamesTheArgumentAtFaultInOneLine) {
    std::vector<std::pair<std::vector<std::string>, std::string>> wrong{
        {{}, "subcommand"},
        {{"find", "bin"}, "NAME"},
        {{"find", "all", "x"}, "CATEGORY"},
        {{"find", "bin", ""}, "NAME"},
        {{"resolve", "no-such-file"}, "no-such-file"},
        {{"resolve", "-", "--symfs", "x,odd"}, "--symfs"},
        {{"resolve", "-", "--symfs", "nowhere,flat"}, "--symfs: \"nowhere\""},
        {{"resolve", "-", "--sysroot", "nowhere"}, "--sysroot: \"nowhere\""},
        {{"resolve", "-", "--json", "--explain", "x"}, "--explain"},
        {{"find", "src", "x", "--expect", "build-id:abcdef"}, "--expect"},
        {{"resolve", "-", "--substitute-path", "nothing"}, "--substitute-path"},
        {{"resolve", "-", "--format", "elf"}, "--format"}};
    for (auto const& [option, value] :
         std::vector<std::pair<std::string, std::string>>{{"-d", "lib=/x"},
                                                          {"--archive", ""},
                                                          {"--steps", "Nowhere"},
                                                          {"--expect", "md5:1"},
                                                          {"--expect-size", "many"},
                                                          {"--expect-size", "-1"},
                                                          {"--expect-mtime", "0"},
                                                          {"--cache", "nowhere"},
                                                          {"--result", "nowhere"},
                                                          {"--not-newer-than", "/"},
                                                          {"--policy", "maybe"},
                                                          {"--nonsense", ""}})
        wrong.push_back({{"find", "bin", "x", option, value}, option == "-d" ? value : option});
    for (auto const& [arguments, fault] : wrong) {
        auto const outcome = m_place.run(arguments);
        EXPECT_EQ(outcome.status, 2) << fault;
        EXPECT_EQ(outcome.out, "") << fault;
        EXPECT_THAT(outcome.err, StartsWith("lokata: "));
        EXPECT_THAT(outcome.err, HasSubstr(fault));
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    }
}

TEST_F(FindProgram, WarnsOfListedDirectoriesThatAreNotThere) {
    for (std::string const option : {"--search-dir", "--archive", "--context"}) {
        auto const outcome =
            find({"bin", "x", option, option == "--search-dir" ? "bin=nowhere" : "nowhere"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.err,
                  "lokata: warning: " + option + ": \"nowhere\": No such file or directory\n");
    }
}

TEST_F(FindProgram, StepsUpInANameLeadNowhere) {
    m_place.file("secret");
    m_place.dir("lib/deep");
    std::string const kept = m_place.file("lib/a/secret");
    auto const find = [this](std::string const& name) {
        auto const outcome =
            m_place.run({"run", "-", "-d", "bin=lib/deep", "-d", "bin=lib"}, "bin " + name + "\n");
        EXPECT_EQ(outcome.out,
                  "bin\t" + name + "\t" + (outcome.status == 0 ? "lib/a/secret" : "-") + "\n");
        return outcome.status == 0;
    };
    EXPECT_FALSE(find("../secret") || find("../../secret") || find("a/../../../secret"));
    EXPECT_FALSE(find("..") || find("../.."));
    EXPECT_TRUE(find("../a/secret") && find("b/../a/secret"));
}

TEST_F(FindProgram, JudgesSymbolsByTheBuildIdOfTheirBinary) {
    profile::BuildId const wanted(20, 0xaa);
    auto const elf = [this](std::string const& name, profile::BuildId const& id, bool debugInfo) {
        profile::test::ElfBuilder builder;
        builder.buildId(id);
        (debugInfo ? builder.debugInfo() : builder).write(m_place.file(name));
        return m_place.path(name);
    };
    std::string const binary = elf("app", wanted, false);
    std::string const other = elf("1/app.debug", profile::BuildId(20, 0xbb), true);
    std::string const right = elf("2/app.debug", wanted, true);
    std::vector<std::string> const dirs{"-d", "all=" + m_place.path("1"), "-d",
                                        "all=" + m_place.path("2")};
    std::string const expected = "build-id:" + profile::toHex(wanted);
    for (auto const& [options, file] :
         std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"--binary", "not-there"}, other},
             {{"--binary", m_place.file("text")}, other},
             {{"--binary", binary}, right},
             {{"--expect", expected}, right}}) {
        std::vector<std::string> words{"sym", "app.debug", options[0], options[1]};
        words.insert(words.end(), dirs.begin(), dirs.end());
        EXPECT_EQ(find(words).out, file + "\n") << options[1];
    }
    EXPECT_EQ(find({"bin", "app", "-d", "bin=" + m_place.path("."), "--expect", expected}).status,
              0);
    std::vector<std::string> words{"run", "-"};
    words.insert(words.end(), dirs.begin(), dirs.end());
    EXPECT_EQ(m_place.run(words, "sym app.debug app\nsym app.debug app build-id:bb\n").out,
              "sym\tapp.debug\t" + right + "\n");
}

TEST_F(FindProgram, AllPrintsTheFilesOfAllStepsInTheirOrder) {
    std::string const low = m_place.file("low/tool");
    std::string const high = m_place.file("high/tool");
    std::vector<std::string> arguments{
        "bin", "tool", "-d", "bin=" + m_place.path("low"), "-d", "all:p=" + m_place.path("high")};
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

TEST_F(FindProgram, RejectsPipesAndDirectoriesAndPassesOverDanglingLinks) {
    m_place.dir("dir/tool");
    m_place.link("link/tool", "nowhere");
    ASSERT_EQ(::mkfifo((m_place.dir("pipe") + "/tool").c_str(), 0600), 0);

    auto const record =
        findJson({"bin", "tool", "-d", "bin=" + m_place.path("dir"), "-d",
                  "bin=" + m_place.path("pipe"), "-d", "bin=" + m_place.path("link")});
    EXPECT_TRUE(record["found"].empty());
    auto const& rejected = record["rejected"];
    ASSERT_EQ(rejected.size(), 2U) << record;
    EXPECT_EQ(rejected[0]["path"], m_place.path("dir/tool"));
    EXPECT_EQ(rejected[1], nlohmann::json({{"path", m_place.path("pipe/tool")},
                                           {"severity", "svError"},
                                           {"message", "\"" + m_place.path("pipe/tool") +
                                                           "\" is not a regular file."},
                                           {"step", "ssLowPrioritySearchDirs"}}));
}

TEST_F(FindProgram, RejectsAFileThatTheUserMayNotRead) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs to be root, to become somebody else";
    std::string const file = m_place.file("lib/tool");
    fs::permissions(file, fs::perms::owner_read);
    auto const outcome = m_place.run(
        {"find", "bin", "tool", "--no-user", "--explain", "-d", "bin=" + m_place.path("lib")}, {},
        [] {
            if (::setgid(65534) != 0 || ::setuid(65534) != 0)
                ::_exit(125);
        });
    if (outcome.status == 127)
        GTEST_SKIP() << "the program cannot be run by another user from where it was built";
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "rejected " + file +
                               "  [ssLowPrioritySearchDirs, svError]  The file \"" + file +
                               "\" cannot be opened for reading.\n");
}

TEST_F(FindProgram, FindsAnArchivedFileInTheArchiveStepAndInTheNearestArchiveFirst) {
    auto const archive = [this](char const* content, char const* into) {
        std::string const file = m_place.file("tool", content);
        auto const outcome =
            m_place.run({"archive", file, "--into", m_place.path(into), "--category", "bin"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out.substr(0, outcome.out.find('\n'));
    };
    std::string const far = archive("content", "far");
    EXPECT_EQ(far, m_place.path("far/binaries/tool/" + md5OfContent + "/tool"));
    EXPECT_EQ(archive("content", "far"), far) << "once more";
    EXPECT_EQ(found({"bin", "tool", "--archive", m_place.path("far")}),
              "ssArchiveSearchDirs " + far);
    EXPECT_EQ(find({"sym", "tool", "--archive", m_place.path("far")}).status, 1);

    std::string const near = archive("other content", "near");
    for (bool const first : {true, false})
        EXPECT_EQ(find({"bin", "tool", "--archive", m_place.path(first ? "near" : "far"),
                        "--archive", m_place.path(first ? "far" : "near")})
                      .out,
                  (first ? near : far) + "\n");
}

TEST_F(FindProgram, ADamagedCopyInAnArchiveIsRejectedWithBothValuesAndReplaced) {
    std::string const file = m_place.file("tool");
    fs::permissions(file, fs::perms(06755));
    auto const archive = [&] { return m_place.run({"archive", file, "--into", "kept"}); };
    std::string const copy = m_place.path("kept/all/tool/" + md5OfContent + "/tool");
    ASSERT_EQ(archive().out, "kept/all/tool/" + md5OfContent + "/tool\n");
    EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0755)) << "no set-user-ID bit";

    m_place.file("kept/all/tool/" + md5OfContent + "/tool", "abc");
    std::vector<std::string> const question{"bin", "tool", "--archive", "kept", "--json"};
    Outcome const damaged = find(question);
    EXPECT_EQ(damaged.status, 1);
    EXPECT_THAT(damaged.out, AllOf(HasSubstr(md5OfContent), HasSubstr(md5OfAbc)));
    EXPECT_EQ(m_place.run({"run", "-", "--no-user", "--archive", "kept"}, "bin tool\n").out,
              "bin\ttool\t-\n");
    EXPECT_EQ(archive().status, 0);
    EXPECT_EQ(contentOf(copy), "content");
    EXPECT_EQ(find(question).status, 0);

    fs::remove(copy);
    m_place.link("kept/all/tool/" + md5OfContent + "/tool", m_place.path("planted"));
    EXPECT_EQ(archive().status, 2);
    EXPECT_FALSE(fs::exists(m_place.path("planted"))) << "a link is not followed";
    fs::remove(copy);
    ASSERT_EQ(::mkfifo(copy.c_str(), 0644), 0);
    EXPECT_THAT(archive().err, HasSubstr(copy.substr(m_place.path("").size())));
}

TEST_F(FindProgram, ArchivesIntoTheNearestContextThatHasAnArchive) {
    m_place.dir("child");
    m_place.dir("parent/archive");
    std::string const file = m_place.file("tool");
    auto const outcome =
        m_place.run({"archive", file, "--context", "child", "--context", m_place.path("parent")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::string const expected = m_place.path("parent/archive/all/tool/" + md5OfContent + "/tool");
    EXPECT_EQ(outcome.out, expected + "\n");
    EXPECT_TRUE(fs::exists(expected));
    EXPECT_EQ(find({"sym", "tool", "--context", "child", "--context", m_place.path("parent")}).out,
              expected + "\n");

    auto const none = m_place.run({"archive", file, "--context", "child"});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.err, "lokata: --context: none of the contexts has an archive\n");
}

TEST_F(FindProgram, TakesContextsThatComeTwiceForOne) {
    m_place.file("run/binaries/tool");
    auto const outcome = find({"bin", "tool", "--result", "run", "--context", m_place.path("run"),
                               "--context", "run/", "--context", "other", "--context", "run"});
    EXPECT_EQ(outcome.out, m_place.path("run/binaries/tool") + "\n");
}

TEST_F(FindProgram, NamingACacheSwitchesItsStepOnAndASuggestionComesBeforeAllSteps) {
    std::string const cached = m_place.file("cache/tool/0123/tool");
    std::string const suggested = m_place.file("elsewhere/renamed");
    auto const outcome = m_place.run({"find", "bin", "tool", "--cache", m_place.path("cache")});
    EXPECT_EQ(outcome.out, cached + "\n");
    EXPECT_EQ(found({"bin", "tool", "--cache", m_place.path("cache")}),
              "ssCacheSearchDir " + cached);
    EXPECT_EQ(found({"bin", "tool", "--cache", m_place.path("cache"), "--suggest", suggested}),
              "ssAskUser " + suggested);
}

TEST_F(FindProgram, SaysWhatWasExpectedAndWhatWasFound) {
    auto const fileOf = [this](char const* name, time_t time) {
        std::string file = m_place.file(name);
        timespec const times[2] = {{time, 0}, {time, 0}};
        EXPECT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
        return file;
    };
    std::string const file = fileOf("src/main.c", 1000);
    std::string const reference = fileOf("built", 900);
    auto const rejected = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"src", "main.c", "-d", "src=" + m_place.path("src")});
        auto const record = findJson(arguments);
        if (record["rejected"].empty())
            return record["found"][0]["confidence"].get<std::string>();
        auto const& first = record["rejected"][0];
        return first["severity"].get<std::string>() + " " + first["message"].get<std::string>();
    };
    std::string const right = "md5:" + md5OfContent;
    std::string const wrong = "md5:" + std::string(32, '0');
    EXPECT_EQ(rejected({"--expect", right}), "cfValidated");
    EXPECT_THAT(rejected({"--expect", right, "--expect", wrong}),
                AllOf(StartsWith("svWarning "), HasSubstr("(expected md5 " + std::string(32, '0') +
                                                          ", found " + md5OfContent + ")")));
    EXPECT_EQ(rejected({"--expect-mtime", "1000", "--expect-size", "7"}), "cfValidated");
    EXPECT_THAT(rejected({"--expect-mtime", "999"}), HasSubstr("(expected time 999, found 1000)"));
    EXPECT_EQ(rejected({"--expect-mtime", "999", "--except-dir", m_place.path("src")}),
              "cfValidated");
    EXPECT_THAT(rejected({"--expect-size", "8"}), HasSubstr("(expected 8 bytes, found 7)"));
    EXPECT_THAT(rejected({"--not-newer-than", reference}),
                HasSubstr("(expected time 900 or before, found 1000)"));
    EXPECT_EQ(rejected({"--not-newer-than", file, "--policy", "reject"}), "cfValidated");
    EXPECT_EQ(rejected({"--policy", "low"}), "cfPolicyLow");
    EXPECT_EQ(rejected({"--policy", "reject"}), "svNone ");
    // A file that can be opened, but not read from its start.
    auto const unread = findJson({"bin", "/proc/self/mem", "--expect", right});
    EXPECT_THAT(unread["rejected"].at(0)["message"].get<std::string>(),
                HasSubstr("could not be read"));
}

TEST_F(FindProgram, RunsTheKernelFallbacksOnlyForAKnownRelease) {
    auto const log = m_place.run({"-v", "find", "bin", "vmlinux", "--kernel-release",
                                  "0.0-lokata-test", "--steps", "AbsoluteNameLookup"});
    EXPECT_EQ(log.status, 1);
    EXPECT_THAT(log.err, HasSubstr("Searching bin file:/boot/vmlinuz-0.0-lokata-test"));
    EXPECT_THAT(log.err, Not(HasSubstr("ENTER: ")));
    auto const trace = m_place.run({"-vv", "find", "bin", "vmlinux", "--steps", "AskUser"});
    EXPECT_THAT(trace.err, HasSubstr("ENTER: "));
    EXPECT_THAT(trace.err, Not(HasSubstr("/boot/vmlinuz-")));
}

TEST_F(FindProgram, FailsWhenNobodyReadsItsAnswer) {
    m_place.file("lib/tool");
    auto const outcome =
        m_place.run({"find", "bin", "tool", "-d", "bin=" + m_place.path("lib")}, {}, [] {
            int const full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
            ::dup2(full, STDOUT_FILENO);
        });
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("lokata: standard output: "));
}

} // namespace
} // namespace lokata::cli::test
