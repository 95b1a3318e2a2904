#include "program_harness.h"

#include "support/elf_builder.h"
#include "unprivileged.h"

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;
namespace lokata::cli::test {

using namespace testing;

namespace {

class FindProgram : public ProgramTest {
protected:
    /// `find` with the steps that look where the test says, and not in the system.
    Outcome find(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "find");
        arguments.insert(arguments.end(),
                         {"--steps", "ArchiveSearchDirs,HighPrioritySearchDirs,CacheSearchDir,"
                                     "AbsoluteNameLookup,LowPrioritySearchDirs"});
        return run(arguments);
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
};

TEST_F(FindProgram, PrintsThePathAloneAndNothingWhenThereIsNone) {
    file("lib/deep/libz.so.1");
    EXPECT_EQ(run({"find", "bin", "libz.so.1", "-d", "bin:r=lib"}).text(),
              "0\nlib/deep/libz.so.1\n");
    EXPECT_EQ(run({"find", "bin", "no-such", "-d", "bin:r=lib"}).text(),
              "1\nlokata: no file \"no-such\" was found in: LowPrioritySearchDirs (lib), "
              "SystemDirs\n");
    EXPECT_FALSE(fs::exists(path("config"))) << "a search makes no store";
}

TEST_F(FindProgram, NamesTheArgumentAtFaultInOneLine) {
    std::vector<std::pair<std::vector<std::string>, std::string>> wrong{
        {{}, "subcommand"},
        {{"archive", "/etc/passwd", "--result", "nowhere"}, "--result: \"nowhere\""},
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
    for (auto const& [arguments, fault] : wrong)
        EXPECT_THAT(run(arguments).text(),
                    AllOf(MatchesRegex("2\nlokata: [^\n]*\n"), HasSubstr(fault)));
}

TEST_F(FindProgram, WarnsOfListedDirectoriesThatAreNotThere) {
    for (std::string const option : {"--search-dir", "--archive", "--context", "--except-dir"}) {
        std::string const value = option == "--search-dir" ? "bin=nowhere" : "nowhere";
        EXPECT_THAT(find({"bin", "x", option, value}).text(),
                    StartsWith("1\nlokata: warning: " + option +
                               ": \"nowhere\": No such file or directory\n"));
    }
}

TEST_F(FindProgram, StepsUpInANameLeadNowhere) {
    file("secret");
    dir("lib/deep");
    file("lib/a/secret");
    auto const search = [this](char const* name) {
        return find({"bin", name, "-d", "bin=lib/deep", "-d", "bin=lib"}).out;
    };
    for (char const* const name : {"../secret", "../../secret", "a/../../../secret", "..", "../.."})
        EXPECT_EQ(search(name), "") << name;
    for (char const* const name : {"../a/secret", "b/../a/secret"})
        EXPECT_EQ(search(name), "lib/a/secret\n");
}

TEST_F(FindProgram, JudgesSymbolsByTheBuildIdOfTheirBinary) {
    profile::BuildId const wanted(20, 0xaa);
    auto const elf = [this](std::string const& name, profile::BuildId const& id) {
        return profile::test::ElfBuilder().buildId(id).debugInfo().write(file(name));
    };
    profile::test::ElfBuilder().buildId(wanted).write(file("app"));
    elf("1/app.debug", profile::BuildId(20, 0xbb));
    elf("2/app.debug", wanted);
    file("text");
    std::string const expected = "build-id:" + profile::toHex(wanted);
    for (auto const& [option, value, found] :
         {std::tuple("--binary", "not-there", "1/app.debug\n"),
          std::tuple("--binary", "text", "1/app.debug\n"),
          std::tuple("--binary", "app", "2/app.debug\n"),
          std::tuple("--expect", expected.c_str(), "2/app.debug\n")})
        EXPECT_EQ(find({"sym", "app.debug", option, value, "-d", "all=1", "-d", "all=2"}).out,
                  found)
            << value;
    EXPECT_EQ(find({"bin", "app", "-d", "bin=.", "--expect", expected}).status, 0);
    EXPECT_EQ(run({"run", "-", "-d", "all=1", "-d", "all=2"},
                  "sym app.debug app\nsym app.debug app build-id:bb\n")
                  .out,
              "sym\tapp.debug\t2/app.debug\n");
}

TEST_F(FindProgram, AllPrintsTheFilesOfAllStepsInTheirOrder) {
    file("low/tool");
    file("low/deep/tool");
    file("high/tool");
    std::vector<std::string> arguments{"bin", "tool", "-d", "bin:r=low", "-d", "all:p=high"};
    EXPECT_EQ(find(arguments).out, "high/tool\n");
    EXPECT_EQ(findJson(arguments)["found"].size(), 1U);

    arguments.emplace_back("--all");
    EXPECT_EQ(find(arguments).text(), "0\nhigh/tool\nlow/tool\nlow/deep/tool\n");
    auto const record = findJson(arguments);
    EXPECT_TRUE(record["rejected"].empty());
    EXPECT_EQ(record["found"], nlohmann::json::parse(R"([
        {"path": "high/tool", "confidence": "cfPolicyHigh", "step": "ssHighPrioritySearchDirs"},
        {"path": "low/tool", "confidence": "cfPolicyHigh", "step": "ssLowPrioritySearchDirs"},
        {"path": "low/deep/tool", "confidence": "cfPolicyHigh",
         "step": "ssLowPrioritySearchDirs"}])"));
    arguments.insert(arguments.end(), {"--expect", "md5:" + c_md5OfAbc});
    file("low/deep/tool", "abc");
    auto const expected = findJson(arguments);
    EXPECT_EQ(expected["found"].size(), 1U);
    EXPECT_EQ(expected["found"][0]["confidence"], "cfValidated");
    EXPECT_EQ(expected["rejected"].size(), 2U);
}

TEST_F(FindProgram, RejectsPipesAndDirectoriesAndPassesOverDanglingLinks) {
    dir("dir/tool");
    link("link/tool", "nowhere");
    ASSERT_EQ(::mkfifo((dir("pipe") + "/tool").c_str(), 0600), 0);
    EXPECT_EQ(findJson({"bin", "tool", "-d", "bin=dir", "-d", "bin=pipe", "-d", "bin=link"}),
              nlohmann::json::parse(R"({"category": "scBinaryFiles", "name": "tool", "found": [],
        "rejected": [{"path": "dir/tool", "severity": "svNone", "step": "ssLowPrioritySearchDirs",
                      "message": "\"dir/tool\" is a directory, but a file is needed."},
                     {"path": "pipe/tool", "severity": "svError", "step": "ssLowPrioritySearchDirs",
                      "message": "\"pipe/tool\" is not a regular file."}]})"));
}

TEST_F(FindProgram, RejectsAFileThatTheUserMayNotRead) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs to be root, to become somebody else";
    fs::permissions(file("lib/tool"), fs::perms::owner_read);
    fs::permissions(dir("lib/closed"), fs::perms::owner_all);
    std::vector<std::string> words{"find", "bin", "tool", "--no-user", "-d", "bin:r=lib"};
    EXPECT_THAT(run(words, {}, becomeNobody).err,
                AllOf(HasSubstr("rejected: 1, shown with --explain"),
                      HasSubstr("could not be read: lib/closed (Permission denied)\n")));
    words.emplace_back("--explain");
    auto const outcome = run(words, {}, becomeNobody);
    if (outcome.status == 127)
        GTEST_SKIP() << "the program cannot be run by another user from where it was built";
    EXPECT_EQ(outcome.text(), "1\nrejected lib/tool  [LowPrioritySearchDirs]  The file "
                              "\"lib/tool\" cannot be opened for reading.\n"
                              "nothing  [SystemDirs]\n"
                              "unread   lib/closed  [LowPrioritySearchDirs]  Permission denied\n");
}

TEST_F(FindProgram, FindsAnArchivedFileInTheArchiveStepAndInTheNearestArchiveFirst) {
    auto const archive = [this](char const* content, char const* into) {
        file("tool", content);
        return run({"archive", "tool", "--into", into, "--category", "bin"}).text();
    };
    std::string const far = "far/binaries/tool/" + c_md5OfContent + "/tool";
    std::string const near = "near/binaries/tool/" + c_md5OfAbc + "/tool";
    EXPECT_EQ(archive("content", "far"), "0\n" + far + "\n");
    EXPECT_EQ(archive("content", "far"), "0\n" + far + "\n") << "once more";
    EXPECT_EQ(found({"bin", "tool", "--archive", "far"}), "ssArchiveSearchDirs " + far);
    EXPECT_EQ(find({"sym", "tool", "--archive", "far"}).status, 1);

    EXPECT_EQ(archive("abc", "near"), "0\n" + near + "\n");
    EXPECT_EQ(find({"bin", "tool", "--archive", "near", "--archive", "far"}).out, near + "\n");
    EXPECT_EQ(find({"bin", "tool", "--archive", "far", "--archive", "near"}).out, far + "\n");
}

TEST_F(FindProgram, ADamagedCopyInAnArchiveIsRejectedWithBothValuesAndReplaced) {
    fs::permissions(file("tool"), fs::perms(06755));
    auto const archive = [&] { return run({"archive", "tool", "--into", "kept"}); };
    std::string const name = "kept/all/tool/" + c_md5OfContent + "/tool";
    std::string const copy = path(name);
    ASSERT_EQ(archive().out, name + "\n");
    EXPECT_EQ(fs::status(copy).permissions(), fs::perms(0755)) << "no set-user-ID bit";

    file(name, "abc");
    std::vector<std::string> const question{"bin", "tool", "--archive", "kept", "--json"};
    Outcome const damaged = find(question);
    EXPECT_EQ(damaged.status, 1);
    EXPECT_THAT(damaged.out, AllOf(HasSubstr(c_md5OfContent), HasSubstr(c_md5OfAbc)));
    EXPECT_EQ(run({"run", "-", "--no-user", "--archive", "kept"}, "bin tool\n").out,
              "bin\ttool\t-\n");
    EXPECT_EQ(archive().status, 0);
    EXPECT_EQ(contentOf(copy), "content");
    EXPECT_EQ(find(question).status, 0);

    fs::remove(copy);
    link(name, path("planted"));
    EXPECT_EQ(archive().status, 2);
    EXPECT_FALSE(fs::exists(path("planted"))) << "a link is not followed";
    fs::remove(copy);
    ASSERT_EQ(::mkfifo(copy.c_str(), 0644), 0);
    EXPECT_THAT(archive().err, HasSubstr(name));
}

TEST_F(FindProgram, ArchivesIntoTheNearestContextThatHasAnArchive) {
    dir("child");
    dir("parent/archive");
    file("tool");
    std::string const expected = path("parent/archive/all/tool/" + c_md5OfContent + "/tool");
    EXPECT_EQ(run({"archive", "tool", "--context", "child", "--context", "parent"}).text(),
              "0\n" + expected + "\n");
    EXPECT_TRUE(fs::exists(expected));
    EXPECT_EQ(find({"sym", "tool", "--context", "child", "--context", "parent"}).out,
              expected + "\n");
    EXPECT_EQ(run({"archive", "tool", "--context", "child"}).text(),
              "2\nlokata: --context: none of the contexts has an archive\n");
}

TEST_F(FindProgram, TakesContextsThatComeTwiceForOne) {
    file("run/binaries/tool");
    auto const outcome = find({"bin", "tool", "--result", "run", "--context", path("run"),
                               "--context", "run/", "--context", "other", "--context", "run"});
    EXPECT_EQ(outcome.out, path("run/binaries/tool") + "\n");
}

TEST_F(FindProgram, NamingACacheSwitchesItsStepOnAndASuggestionComesBeforeAllSteps) {
    file("cache/tool/0123/tool");
    std::string const suggested = file("elsewhere/renamed");
    EXPECT_EQ(run({"find", "bin", "tool", "--cache", "cache"}).out, "cache/tool/0123/tool\n");
    EXPECT_EQ(found({"bin", "tool", "--cache", "cache"}), "ssCacheSearchDir cache/tool/0123/tool");
    EXPECT_EQ(found({"bin", "tool", "--cache", "cache", "--suggest", suggested}),
              "ssAskUser " + suggested);
}

TEST_F(FindProgram, SaysWhatWasExpectedAndWhatWasFound) {
    for (auto const& [name, time] : {std::pair("src/main.c", 1000), std::pair("built", 900)}) {
        timespec const times[2] = {{time, 0}, {time, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, file(name).c_str(), times, 0), 0);
    }
    auto const rejected = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"src", "main.c", "-d", "src=src"});
        auto const record = findJson(arguments);
        if (record["rejected"].empty())
            return record["found"][0]["confidence"].get<std::string>();
        auto const& first = record["rejected"][0];
        return first["severity"].get<std::string>() + " " + first["message"].get<std::string>();
    };
    std::string const right = "md5:" + c_md5OfContent;
    std::string const wrong = "md5:" + std::string(32, '0');
    EXPECT_EQ(rejected({"--expect", right}), "cfValidated");
    EXPECT_THAT(rejected({"--expect", right, "--expect", wrong}),
                AllOf(StartsWith("svWarning "), HasSubstr("(expected md5 " + std::string(32, '0') +
                                                          ", found " + c_md5OfContent + ")")));
    EXPECT_EQ(rejected({"--expect-mtime", "1000", "--expect-size", "7"}), "cfValidated");
    EXPECT_THAT(rejected({"--expect-mtime", "999"}), HasSubstr("(expected time 999, found 1000)"));
    EXPECT_EQ(rejected({"--expect-mtime", "999", "--except-dir", "src"}), "cfValidated");
    EXPECT_THAT(rejected({"--expect-size", "8"}), HasSubstr("(expected 8 bytes, found 7)"));
    EXPECT_THAT(rejected({"--not-newer-than", "built"}),
                HasSubstr("(expected time 900 or before, found 1000)"));
    EXPECT_EQ(rejected({"--not-newer-than", "src/main.c", "--policy", "reject"}), "cfValidated");
    EXPECT_EQ(rejected({"--policy", "low"}), "cfPolicyLow");
    EXPECT_THAT(rejected({"--policy", "reject"}), StartsWith("svNone Nothing recorded proves "));
    // A file that can be opened, but not read from its start.
    auto const unread = findJson({"bin", "/proc/self/mem", "--expect", right});
    EXPECT_THAT(unread["rejected"].at(0)["message"].get<std::string>(),
                HasSubstr("could not be read"));
}

TEST_F(FindProgram, RunsTheKernelFallbacksOnlyForAKnownRelease) {
    auto const log = run({"-v", "find", "bin", "vmlinux", "--kernel-release", "0.0-lokata-test",
                          "--steps", "AbsoluteNameLookup"});
    EXPECT_EQ(log.status, 1);
    EXPECT_THAT(log.err, HasSubstr("Searching bin file:/boot/vmlinuz-0.0-lokata-test"));
    EXPECT_THAT(log.err, Not(HasSubstr("ENTER: ")));
    auto const trace = run({"-vv", "find", "bin", "vmlinux", "--steps", "AskUser"});
    EXPECT_THAT(trace.err, HasSubstr("ENTER: "));
    EXPECT_THAT(trace.err, Not(HasSubstr("/boot/vmlinuz-")));
}

TEST_F(FindProgram, FailsWhenNobodyReadsItsAnswer) {
    file("lib/tool");
    auto const outcome = run({"find", "bin", "tool", "-d", "bin=lib"}, {}, [] {
        int const full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
        ::dup2(full, STDOUT_FILENO);
    });
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith("lokata: standard output: "));
}

} // namespace
} // namespace lokata::cli::test
