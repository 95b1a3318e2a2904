#include "console/text_layout.h"
#include "program_harness.h"

#include "support/elf_builder.h"
#include "support/inputs.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fs = std::filesystem;
namespace lokata::cli::test {

using namespace testing;

namespace {

using namespace profile::test;
using nlohmann::json;
using profile::BuildId;

BuildId bytes(std::string const& text) {
    return {text.begin(), text.end()};
}

/// Two modules, recorded below a directory that is not there any more.
class ResolveProgram : public ProgramTest {
protected:
    ResolveProgram() {
        elf("moved/deep/app", m_app, false);
        elf("moved/deep/libx.so", m_lib, true);
        dir("debug");
    }

    void elf(std::string const& name, std::string const& id, bool debugInfo) const {
        ElfBuilder builder;
        builder.buildId(bytes(id));
        (debugInfo ? builder.debugInfo() : builder).write(file(name));
    }
    Outcome resolve(std::vector<std::string> words, std::string const& input = {}) const {
        words.insert(words.begin(),
                     {"resolve", "--no-user", "--debug-file-directory", path("debug")});
        return run(words, input);
    }
    std::string moved() const { return "bin:r=" + path("moved"); }

    PerfFile perf() const {
        PerfFile perf;
        perf.attr(PerfFile::c_sampleType).exec(5, 1);
        perf.mmap2(5, 0x1000, 0x1000, "/gone/app", m_app, 0, 2);
        perf.mmap2(5, 0x3000, 0x1000, "/gone/libx.so", m_lib, 0, 2);
        perf.sample(5, 0x1234, 3).sample(5, 0x1238, 4).sample(5, 0x1238, 5);
        return perf.sample(5, 0x3456, 6);
    }
    std::string pprof() const {
        PprofFile file;
        file.unit(1, 2).sample({1}, {3}).mapping(1, 3, 4).location(1, 1, 1).function(1, 5);
        file.string("").string("samples").string("count").string("/gone/app");
        return gzip(file.string(profile::toHex(bytes(m_app))).string("/build/main.cc").content());
    }

    std::string const m_app = buildId('a');
    std::string const m_lib = buildId('x');
};

TEST_F(ResolveProgram, EveryKindOfInputNamesTheMovedFiles) {
    std::string const app = profile::toHex(bytes(m_app));
    std::vector<std::pair<std::string, std::string>> const inputs{
        {"perf", perf().file()},
        {"perf", perf().pipe()},
        {"buildid-list", app + " /gone/app\n"},
        {"unstrip", "0x1000+0x2000 " + app + "@0x1290 /gone/app - /gone/app\n"},
        {"core", CoreFile{true, false, {{"/gone/app", m_app}}}.content()},
        {"firefox", R"({"libs":[{"path":"/gone/app","codeId":")" + app + R"("}],"threads":[]})"},
        {"pprof", pprof()}};
    for (auto const& [format, content] : inputs) {
        Outcome const outcome = resolve({"-", "--json", "-d", moved()}, content);
        EXPECT_EQ(outcome.status, 0) << format << outcome.err;
        json const document = json::parse(outcome.out);
        json const& module = document["modules"][0];
        EXPECT_EQ(json({document["format"], module["name"], module["status"],
                        module["binary"]["path"], module["binary"]["identity"]["actual"]}),
                  json({format, "/gone/app", "resolved", path("moved/deep/app"), app}));
    }
}

TEST_F(ResolveProgram, ARunningProcessStandsInForAnInput) {
    std::string const self = std::to_string(::getpid());
    json const document = json::parse(resolve({"--json", "--pid", self}).out);
    EXPECT_EQ(document["format"], "maps");
    EXPECT_EQ(document["input"], "/proc/" + self + "/maps");
    EXPECT_EQ(document["modules"][0]["status"], "resolved");
    Outcome const gone = resolve({"--pid", "2147483647"});
    EXPECT_EQ(gone.status, 2);
    EXPECT_THAT(gone.err, HasSubstr("no such process"));
    for (auto const& wrong : std::vector<std::vector<std::string>>{
             {"--pid", self, "perf.data"}, {"--pid", "-1"}, {"--pid", "99999999999"}})
        EXPECT_EQ(resolve(wrong).status, 2);
}

TEST_F(ResolveProgram, NamesWithoutBuildIdAreAcceptedAsThePolicySays) {
    std::string const maps = "1000-2000 r-xp 00000000 08:01 7   /gone/app\n"
                             "3000-4000 r-xp 00000000 00:00 0   [vdso]\n";
    for (std::string const& input : {maps, std::string("/gone/app\n")}) {
        Outcome const accepted = resolve({"-", "-d", moved()}, input);
        EXPECT_EQ(accepted.status, 0) << accepted.err;
        EXPECT_THAT(accepted.out, HasSubstr("unproven"));
        EXPECT_EQ(resolve({"-", "-d", moved(), "--policy", "reject"}, input).status, 1);
    }
}

TEST_F(ResolveProgram, ARebuiltNamesakeIsRejectedWithBothBuildIds) {
    elf("moved/deep/app", buildId('b'), false);
    file("perf.data", perf().file());
    Outcome const outcome = resolve({"-d", moved()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr(profile::toHex(bytes(m_app))),
                                   HasSubstr(profile::toHex(bytes(buildId('b'))))));
    EXPECT_LT(outcome.out.find("libx.so"), outcome.out.find("/gone/app")) << "missing ones last";
    EXPECT_THAT(outcome.out, HasSubstr(" 75.0 %  missing"));
    EXPECT_THAT(
        outcome.out,
        HasSubstr("25.0 % of the samples lie in files that are found and proven; 25.0 % can "
                  "be shown with lines\n1 of 2 resolved (25.0 % of samples), 1 missing"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("\033"))) << "no colour where no terminal is";

    Outcome const explained = resolve({"perf.data", "-d", moved(), "--explain", "app"});
    EXPECT_THAT(explained.out,
                AllOf(HasSubstr("rejected " + path("moved/deep/app") + "  [LowPrioritySearchDirs]"),
                      HasSubstr("nothing  [AbsoluteNameLookup]"), HasSubstr("no file"),
                      Not(HasSubstr("ArchiveSearchDirs")), Not(HasSubstr("libx"))));
    EXPECT_LT(explained.out.find("[SystemDirs]"), explained.out.find("  [build-id-tree]"))
        << "in the order in which they are tried";
    std::string const both = resolve({"perf.data", "-d", moved(), "--explain", "ibx.s", "--explain",
                                      profile::toHex(bytes(m_app)).substr(0, 4)})
                                 .out;
    EXPECT_THAT(both, AllOf(StartsWith("/gone/libx.so\n"), HasSubstr("\n\n/gone/app\n")));
    Outcome const partly = resolve({"perf.data", "--explain", "nothing", "--explain", "app"});
    EXPECT_EQ(partly.status, 2);
    EXPECT_THAT(partly.err, HasSubstr("nothing"));
    EXPECT_THAT(partly.out, HasSubstr("/gone/app"));

    std::string const logged = resolve({"perf.data", "-v", "-d", moved()}).err;
    std::string const step = " [LowPrioritySearchDirs] ";
    EXPECT_THAT(logged,
                HasSubstr("INFO " + path("moved/deep/app") + step + "rejected: The build-id of "));
    EXPECT_THAT(logged, HasSubstr("INFO " + path("moved/deep/libx.so") + step +
                                  "proven: build-id " + profile::toHex(bytes(m_lib)) + "\n"));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(ResolveProgram, SymbolsThatLackAFileOrTheNamesOfSourcesAreToldWithTheReason) {
    std::string const input = profile::toHex(bytes(m_app)) + " /gone/app\n";
    // Its line table is cut off in the header.
    std::string const withoutLines = Bytes().u32(12).u16(4).u32(0).u8(8).u8(1).u32(0).content();
    for (auto const& [link, reason] :
         {std::pair("none" + std::string(1, '\0') + buildId('s'),
                    "symbols      /gone/app\n             The supplementary file that the "),
          std::pair(std::string(),
                    "symbols      /gone/app\n             Which supplementary file the ")}) {
        ElfBuilder()
            .buildId(bytes(m_app))
            .section(".debug_info", withoutLines)
            .section(".debug_abbrev", std::string("\1\x11\0\x10\x17\0\0\0", 8))
            .section(".debug_line", Bytes().u32(6).u16(3).u32(4711).content())
            .section(".gnu_debugaltlink", link)
            .write(path("moved/deep/app"));
        Outcome const outcome = resolve({"-", "--sources", "-d", moved()}, input);
        EXPECT_EQ(outcome.status, 0) << "the binary is there";
        EXPECT_THAT(outcome.out, AllOf(HasSubstr("incomplete-lines"), HasSubstr(reason),
                                       HasSubstr("sources      /gone/app\n"),
                                       HasSubstr("0 of 1 modules can be shown with lines, 1 with a "
                                                 "part of the lines")));
    }
    EXPECT_EQ(resolve({"-", "-d", moved(), "--require", "lines"}, input).status, 1);
}

TEST_F(ResolveProgram, SpeaksTheLanguageOfTheUserWhereNoProgramDecidesOnIt) {
    elf("moved/deep/app", buildId('b'), false);
    auto const speak = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"resolve", "--no-user", "-", "-d", moved()});
        return run(words, perf().file(), inGerman());
    };
    std::string const table = speak({}).out;
    EXPECT_THAT(table, AllOf(HasSubstr("  BELEGT DURCH  "), HasSubstr(" 75,0 %  fehlend "),
                             HasSubstr("Die Build-ID der Datei „"),
                             HasSubstr("\n25,0 % der Samples liegen in Dateien")));
    EXPECT_THAT(speak({"--explain", "app"}).out,
                AllOf(HasSubstr("abgelehnt " + path("moved/deep/app") + "  [LowPriority"),
                      HasSubstr("Binärdatei: nicht gefunden, erwartet build-id ")));
    json const document = json::parse(speak({"--json"}).out);
    EXPECT_EQ(document["modules"][0]["status"], "missing");
    EXPECT_THAT(document["modules"][0]["reason"].get<std::string>(), StartsWith("Die Build-ID"));
    EXPECT_THAT(run({"archive", "."}, {}, inGerman()).err, HasSubstr("siehe lokata --help"));
}

/// What the program shows on a terminal of that width, without colours.
std::string onScreen(Workplace const& workplace, unsigned short columns,
                     std::vector<std::string> const& words, std::string const& input,
                     std::function<void()> const& inChild) {
    int const screen = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    winsize const size{24, columns, 0, 0};
    if (::grantpt(screen) != 0 || ::unlockpt(screen) != 0 ||
        ::ioctl(screen, TIOCSWINSZ, &size) != 0)
        return "no terminal";
    int const terminal = ::open(::ptsname(screen), O_RDWR | O_NOCTTY);
    static_cast<void>(workplace.run(words, input, [&] {
        ::setenv("NO_COLOR", "1", 1);
        ::dup2(terminal, STDOUT_FILENO);
        inChild();
    }));
    std::string shown(1 << 16, '\0');
    shown.resize(
        static_cast<std::size_t>(std::max<ssize_t>(::read(screen, shown.data(), shown.size()), 0)));
    ::close(terminal);
    ::close(screen);
    shown.erase(std::remove(shown.begin(), shown.end(), '\r'), shown.end());
    return shown;
}

TEST_F(ResolveProgram, ATableFitsItsTerminalAndTellsNamesakesApart) {
    PerfFile perf;
    perf.attr(PerfFile::c_sampleType).exec(5, 1);
    perf.mmap2(5, 0x1000, 0x1000, "/gone/one/libx.so", m_app, 0, 2);
    perf.mmap2(5, 0x3000, 0x1000, "/gone/two/libx.so", m_lib, 0, 2);
    perf.sample(5, 0x1234, 3).sample(5, 0x3456, 6);
    elf("moved/a/directory/of/some/length/one/libx.so", m_app, false);
    elf("moved/deep/libx.so", m_lib, true);
    std::vector<std::string> const words{"resolve", "--no-user", "-", "-d", moved()};
    for (int const columns : {40, 60, 80, 200}) {
        std::string const shown =
            onScreen(*this, static_cast<unsigned short>(columns), words, perf.file(), inGerman());
        EXPECT_THAT(shown, AllOf(HasSubstr("one/libx.so "), HasSubstr("two/libx.so "),
                                 HasSubstr(" 50,0 %"), HasSubstr("lines")));
        EXPECT_EQ(shown.find("SCHRITT") != std::string::npos, columns == 200) << columns;
        EXPECT_EQ(shown.find("MODUL ") != std::string::npos, columns != 40) << columns;
        std::istringstream lines(shown);
        for (std::string line; std::getline(lines, line);) {
            bool const isOneWord = line.find(' ', line.find_first_not_of(' ')) == std::string::npos;
            EXPECT_LE(lengthOf(line), static_cast<std::size_t>(isOneWord ? 200 : columns)) << line;
        }
    }
}

TEST_F(ResolveProgram, WhatIsRequiredDecidesTheExitStatus) {
    ElfBuilder().buildId(bytes(m_app)).symbolTable().write(path("moved/deep/app"));
    std::string const id = buildId('e');
    ElfBuilder().buildId(bytes(id)).symbols(SHT_DYNSYM, STT_FUNC, 1).write(path("moved/x.so"));
    std::string const app = profile::toHex(bytes(m_app)) + " /gone/app\n";
    std::string const kernel = std::string(40, 'c') + " [kernel.kallsyms]\n";
    auto const status = [&](std::string const& input, std::vector<std::string> words) {
        words.insert(words.begin(), {"-", "-d", moved()});
        return resolve(words, input).status;
    };
    EXPECT_EQ(status(app, {}), 0);
    EXPECT_EQ(status(app, {"--require", "names"}), 0);
    EXPECT_EQ(status(app, {"--require", "lines"}), 1);
    std::string const exporting = profile::toHex(bytes(id)) + " /gone/x.so\n";
    EXPECT_EQ(status(exporting, {"--require", "names"}), 1);
    EXPECT_EQ(status(app + kernel, {}), 1);
    EXPECT_EQ(status(app + kernel, {"--user-only"}), 0);
    ElfBuilder().buildId(bytes(buildId('v'))).write(path("moved/[vdso]"));
    std::string const vdso = profile::toHex(bytes(buildId('v'))) + " [vdso]\n";
    EXPECT_EQ(status(app + vdso, {"--require", "names"}), 0) << "a copy of it changes nothing";
    EXPECT_THAT(resolve({"-", "-d", moved()}, app + exporting).out,
                HasSubstr("0 of 2 modules can be shown with lines, 1 with names, 1 with exported"));
}

TEST_F(ResolveProgram, DamagedInputIsResolvedAsFarAsItCanBeRead) {
    std::string const whole = perf().file(false);
    Outcome const damaged = resolve({"-", "-d", moved()}, whole.substr(0, whole.size() - 100));
    EXPECT_EQ(damaged.status, 1);
    EXPECT_THAT(damaged.err, HasSubstr("standard input: at byte "));
    EXPECT_THAT(damaged.out, HasSubstr(path("moved/deep/app")));

    EXPECT_EQ(resolve({"-", "--format", "maps"}, "nothing of a map\n").status, 2)
        << "nothing could be read";
    Outcome const unknown = resolve({"-"}, std::string("\0\1\2\3", 4));
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.err, StartsWith("lokata: standard input"));

    Outcome const several = resolve({"no-such-file", "-", "--json", "-d", moved()}, whole);
    EXPECT_EQ(several.status, 2);
    auto const unread = json::parse(several.out.substr(0, several.out.find('\n')));
    EXPECT_EQ(unread["input"], "no-such-file");
    EXPECT_TRUE(unread["format"].is_null());
    EXPECT_THAT(several.out, HasSubstr("\n{\"version\""));
}

TEST_F(ResolveProgram, CopiedTreesAndRenamedPrefixesAreSearched) {
    std::string const list = profile::toHex(bytes(m_app)) + " /gone/app\n";
    elf("copy/gone/app", m_app, false);
    for (auto const& [option, value] : std::vector<std::pair<std::string, std::string>>{
             {"--sysroot", path("copy")},
             {"--symfs", path("copy")},
             {"--symfs", path("moved/deep") + ",flat"},
             {"--substitute-path", "/gone=" + path("moved/deep")}})
        EXPECT_EQ(resolve({"-", option, value}, list).status, 0) << option;
    EXPECT_EQ(resolve({"-"}, list).status, 1);
    EXPECT_EQ(resolve({"-", "--html", path("no/such/dir.html")}, list).status, 2);
}

TEST_F(ResolveProgram, ProfileAndArchiveAreEnoughOnAnotherMachine) {
    elf("debug/.build-id/61/" + profile::toHex(bytes(m_app)).substr(2) + ".debug", m_app, true);
    file("src/main.cc");
    std::string const input = file("profile.pb.gz", pprof());
    Outcome const here =
        resolve({input, "--sources", "-d", moved(), "--substitute-path", "/build=" + path("src"),
                 "--archive-into", path("kept/archive"), "--html", path("page.html")});
    ASSERT_EQ(here.status, 0) << here.err;
    EXPECT_THAT(contentOf(path("page.html")), HasSubstr("/gone/app"));
    EXPECT_EQ(resolve({input, "-d", moved(), "--archive-into", input + "/archive"}).status, 2);
    EXPECT_THAT(
        resolve({input, "-d", moved(), "--substitute-path", "/build=" + path("src"), "--sources",
                 "--explain", "main.cc"})
            .out,
        AllOf(HasSubstr("main.cc"), HasSubstr(path("src/main.cc") + "  [substitute-path]")));

    for (char const* const gone : {"moved", "debug", "src"})
        fs::remove_all(path(gone));
    Outcome const there =
        resolve({input, "--json", "--sources", "--archive", path("kept/archive")});
    EXPECT_EQ(there.status, 0) << there.err;
    for (char const* const copy : {"binaries/app/", "symbols/", "sources/main.cc/"})
        EXPECT_THAT(there.out, HasSubstr(path("kept/archive/") + copy));
}

TEST_F(ResolveProgram, SourcesAreCountedByDirectoryAndListedByModule) {
    std::string const input = file("profile.pb.gz", pprof());
    std::string const source = file("src/main.cc");
    fs::last_write_time(path("moved/deep/app"),
                        fs::last_write_time(source) - std::chrono::hours(1));
    auto const sources = [&](std::string const& option) {
        return resolve({option, input, "-d", moved(), "--substitute-path", "/build=" + path("src")})
            .out;
    };
    EXPECT_THAT(sources("--sources"), AllOf(HasSubstr("    1       0        0        0  /build\n"),
                                            HasSubstr("Newer than a binary that names them: 1,")));
    EXPECT_THAT(sources("--sources=app"),
                HasSubstr("/gone/app\n1 of 1 source files found, 0 proven; 0 refused, 0 missing\n"
                          "unproven  /build/main.cc\n          " +
                          source + "\n          \"" + source + "\" was changed after "));
    fs::remove(source);
    dir("src/main.cc");
    EXPECT_THAT(sources("--sources"), HasSubstr("    0       0        0        1  in all\n"));
    EXPECT_EQ(resolve({"--sources=libnone", input, "-d", moved()}).status, 2);
}

} // namespace
} // namespace lokata::cli::test
