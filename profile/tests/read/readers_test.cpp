#include "support/inputs.h"

#include "read/names.h"
#include "temp_tree.h"
#include <lokata/profile/read.h>

#include <gmock/gmock.h>

#include <map>

namespace lokata::profile::test {

namespace {

using namespace testing;

/// "name buildid kind" of each module, the kind left out of ordinary files.
std::vector<std::string> names(Profile const& profile) {
    std::vector<std::string> all;
    for (auto const& one : profile.modules) {
        all.push_back(one.name + (one.build_id.empty() ? "" : " " + toHex(one.build_id)));
        if (one.kind != ModuleKind::file)
            all.back().append(" ").append(wordOf(c_moduleKinds, one.kind));
    }
    return all;
}

ReadOptions forcedTo(std::string const& format) {
    ReadOptions options;
    options.format = format;
    return options;
}

TEST(Detection, KnowsNothingThatIsEmptyOrOdd) {
    EXPECT_EQ(detectFormat(std::string("\0\1\2\3", 4)), "");
    EXPECT_EQ(detectFormat(""), "");
    auto const forced = readProfile("abcdef01 /bin/app\n", forcedTo("paths"));
    EXPECT_THAT(names(forced), ElementsAre("abcdef01 /bin/app"));
}

TEST(Detection, TakesATextForTheListThatMostOfItsLinesCanBe) {
    struct Text {
        std::string content;
        std::string format;
        std::size_t errors = 0;
    };
    std::string const id = "e7bcd926448858ab7d0ec4a9beee3a3f1309e598";
    for (auto const& [content, format, errors] : std::vector<Text>{
             {id + " /bin/x\n", "buildid-list"}, // Its first bytes read as pprof.
             {id.substr(1) + " /bin/x\n", "buildid-list", 1},
             {"x" + id.substr(1) + " libx.so\n", "buildid-list", 1},
             {"abcdef01 /bin/x\n" + std::string(41, ' ') + "/bin/none\n", "buildid-list"},
             {"0x10+0x20 " + id.substr(1) + "@0x10 /bin/x - x\n", "unstrip", 1},
             {"10-20 r-xp 0 fe:zz 12 /bin/x\n", "maps", 1},
             {"10-20 mist 0 fe:00 12 /bin/x\n", "maps", 1},
             {"\n\n/usr/bin/app\n", "paths"},
             {".\n./my app\n[\nlibx.so\nabcdef01 /x\n", "paths"},
             {"/opt/an app/x\n/a\x1b\tb:c{}\n", "paths"},
             {"an app/my lib.so.1\nlibx.so (deleted)\n[ext4]\n//anon\n", "paths"},
             {"root:x:0:0:root:/root:/bin/bash\ndaemon:x:1:1:daemon:/usr/sbin:/bin/sh\n", "", 1},
             {"See libx.so.\nThe lines of a text tell nothing of files.\n", "", 1},
             {"/* A\n   comment. */\n#include <a.h>\nint\nmain()\n{\n    return 0;\n}\n", "", 1},
             {"//Copyright (C)\n\nnamespace a\n{\nint b();\n}\n", "", 1},
             {"[\n  {\n    \"path\": \"/usr/lib/libx.so\"\n  }\n]\n", "", 1},
             {"#!/bin/sh\nif test -x /bin/x\nthen\n  /bin/x\nfi\n", "", 1},
             {"0000000000001139 T main\n0000000000003df0 d _DYNAMIC\n", "", 1},
             {"00001139 00000010 T main\n         U puts\n0000113f B a b\n", "", 1},
             {id + "\n", "", 1},
             {id + " \n", "", 1},
             {"\tlibc.so.6 => /lib/libc.so.6 (0x00007f0000000000)\n", "", 1}}) {
        auto const profile = readProfile(content);
        EXPECT_EQ(profile.format, format) << content;
        EXPECT_THAT(profile.errors, SizeIs(errors)) << content;
    }
}

TEST(Packed, EveryFormatIsReadFromEveryPackingWhoseFaultsAreTold) {
    std::pair<char const*, std::string (*)(std::string_view)> const packers[]{
        {"gzip", gzip}, {"xz", xz}, {"zstd", zstd}};
    for (auto const& input : inputs()) {
        auto const plain = readProfile(input.content);
        EXPECT_EQ(plain.format, input.format) << input.name;
        EXPECT_THAT(plain.errors, IsEmpty()) << input.format << " " << input.name;
        auto const expected = names(plain);
        std::string_view const content = input.content;
        for (auto const& [word, pack] : packers) {
            SCOPED_TRACE(input.format + " " + input.name + " in " + word);
            auto const packed = pack(content.substr(0, 20)) + pack(content.substr(20));
            EXPECT_EQ(detectFormat(packed), input.format);
            EXPECT_EQ(names(readProfile(packed)), expected);
            EXPECT_THAT(readProfile(packed, forcedTo(input.format)).errors, IsEmpty());

            auto flipped = packed;
            flipped.back() = static_cast<char>(~flipped.back());
            for (auto const& [damaged, fault] :
                 {std::pair(flipped, "damaged"),
                  std::pair(packed + std::string(12, 'x'), "damaged"),
                  std::pair(packed.substr(0, packed.size() - 1), "cut short")}) {
                auto const profile = readProfile(damaged);
                EXPECT_EQ(names(profile), expected);
                auto const told = "the " + std::string(word) + " stream is " + fault;
                EXPECT_THAT(profile.errors,
                            ElementsAre(FieldsAre(AllOf(Gt(packed.size() - 9), Le(damaged.size())),
                                                  StartsWith(told))));
            }
        }
    }
}

struct List {
    std::string content;
    std::vector<std::string> modules;
    std::string damaged; ///< The line that is told to be damaged, empty if none is.
};

TEST(Lists, NameModulesLineByLine) {
    for (auto const& [content, modules, damaged] : std::vector<List>{
             {"0011223344556677 /opt/my app\r\n" + std::string(41, ' ') +
                  "/bin/none\r\n\r\nabc /odd/digits\r\n",
              {"/opt/my app 0011223344556677", "/bin/none"},
              "abc /odd"},
             {"/ends in a return\r\n/other\n", {"/ends in a return\r", "/other"}, ""},
             // Of processes, of cores, of a program alone, and of the kernel.
             {"0x10+0xb abcdef@0x14 /my app/s l - /my app/s l\n"
              "0x10+0xb abcdef@0x14 /y . z - /y . z\n"
              "0x10+0xb abcdef@0x14 /a /usr/lib/debug/a b.debug /a\n"
              "0x10+0xb abcdef@0x14 . - /my app/gone - . (deleted)\n"
              "0x10+0xb abcdef@0x14 /x (deleted) - /x (deleted)\n"
              "0x10+0xb - - - /a\\012b\n"
              "0x10+0xb abcdef@0x14 /usr/lib/debug/.build-id/ab/cdef - /my app/old (deleted)\n",
              {"/my app/s l abcdef", "/y . z abcdef", "/a abcdef",
               "/my app/gone - . (deleted) abcdef deleted-file", "/x (deleted) abcdef", "/a\nb",
               "/my app/old (deleted) abcdef deleted-file"},
              ""},
             {"0x10+0xb abcdef@0x14 - - /my app/s l\n"
              "0x10+0xb abcdef@0x14 . /usr/lib/debug/x.debug /my app/t\n"
              "0x10+0xb abcdef@0x14 - /usr/lib/debug/x.debug libz (deleted).so\n"
              "0x10+0xb abcdef@0x14 /lib64/ld.so /usr/lib/debug/.build-id/7e/bc.debug ld.so\n"
              "0x10+0xb abcdef@0x14 . - linux-vdso.so.1\n"
              "0x10+0xb abcdef@0x14 my - app/s - l - s - l\n"
              "0+0xb abcdef@0x14 my app/u v - \n"
              "0x10+0xb abcdef@0x14 - - kernel\n"
              "0x10+0xb abcdef@0x14 /lib/snd-pcm.ko - snd_pcm\n"
              "0x10+0xb - - - [vdso: 7]\n"
              "0x10+0xb abcdef@0x14 - - \n",
              {"/my app/s l abcdef", "/my app/t abcdef", "libz (deleted).so abcdef",
               "/lib64/ld.so abcdef", "linux-vdso.so.1 abcdef vdso", "my - app/s - l abcdef",
               "my app/u v abcdef", "kernel abcdef kernel", "/lib/snd-pcm.ko abcdef kernel-module",
               "[vdso: 7] vdso"},
              "0x10+0xb abcdef@0x14 - - \n"},
             {"1000-2000 r--p 0 fe:00 12    /bin/a\\012b c\n2000-3000 r-xp 0 fe:00 12 /bin/a\\012b "
              "c\n3000-4000 r--p 0 fe:00 13 /usr/share/data\n4000-5000 r-xp 0 00:00 0 \n"
              "5000-6000 r-xp 0 fe:00 14 /lib/b\\s (deleted)\nf-10 --xp 0 00:00 0 [vsyscall]\n",
              {"/bin/a\nb c", "/lib/b\\s (deleted) deleted-file", "[vsyscall] vsyscall"},
              ""},
             {"1000-2000 r-xp 0 fe:00 12 /a\n2000-3000 r-xp 0 fe:00 12 /a\n"
              "3000-4000 r-xp 0 00:2d 12 /a\n4000-5000 r-xp 0 fe:00 13 /a\n",
              {"/a", "/a", "/a"},
              ""},
             {"3000-4000 r--p 0 fe:00 13 /only/data\n", {"/only/data"}, ""}}) {
        auto const profile = readProfile(content);
        EXPECT_EQ(names(profile), modules);
        ASSERT_THAT(profile.errors, SizeIs(damaged.empty() ? 0 : 1)) << content;
        EXPECT_TRUE(damaged.empty() || profile.errors[0].offset == content.find(damaged));
    }
}

TEST(Core, NamesModulesWithTheBuildIdsInTheirPages) {
    for (auto const& [wide, bigEndian] : {std::pair(true, false), std::pair(true, true),
                                          std::pair(false, false), std::pair(false, true)}) {
        CoreFile const core{wide,
                            bigEndian,
                            {{"/bin/app", buildId('a', 8), false},
                             {"/usr/share/data", "", false},
                             {"/lib/libx.so", buildId('b', 32)},
                             {"/lib/gone.so (deleted)", ""}}};
        auto const profile = readProfile(core.content());
        EXPECT_THAT(profile.errors, IsEmpty());
        EXPECT_THAT(names(profile),
                    ElementsAre("/bin/app 6162636465666768", StartsWith("/lib/libx.so 6263"),
                                "/lib/gone.so (deleted) deleted-file"));
        EXPECT_THAT(profile.modules.at(1).build_id, SizeIs(32));
    }
}

TEST(Gperftools, CountsSamplesAndCallersByTheMappingsBehindThem) {
    for (auto const& input : inputs()) {
        if (input.format != "gperftools")
            continue;
        auto const profile = readProfile(input.content);
        EXPECT_THAT(profile.errors, IsEmpty());
        EXPECT_THAT(summary(profile), ElementsAre("/opt/b/app file 3", "/lib/libx.so file 2+3"))
            << "it returns to its very end";
        EXPECT_EQ(profile.unattributed_samples, 1U);
    }
}

TEST(Firefox, CountsSamplesOfEachVersionByTheLibrariesOfTheirStacks) {
    struct Counted {
        std::vector<std::string> modules;
        std::vector<std::string> sources;
        std::uint64_t unattributed;
        std::string id; ///< Of the first module.
    };
    std::map<std::string, Counted> const expected{
        {"processed",
         {{"/bin/app file 3", "/lib/libx.so file 0+4 abcd", "[kernel.kallsyms] kernel 1"},
          {"src/main.cc"},
          1,
          "000102030405060708090a0b0c0d0e0f"}},
        {"shared",
         {{"/bin/app file 1+3 0011", "/lib/libx.so file 3"},
          {"/src/a.c"},
          0,
          "00112233445566778899aabbccddeeff01"}},
        {"raw",
         {{"/bin/app file 0+3 abcd", "/lib/libx.so file 2+1", "/bin/child file 1"},
          {},
          1,
          "abcdef"}},
    };
    for (auto const& input : inputs()) {
        if (input.format != "firefox")
            continue;
        SCOPED_TRACE(input.name);
        auto const profile = readProfile(input.content);
        auto const& [modules, sources, unattributed, id] = expected.at(input.name);
        EXPECT_EQ(summary(profile), modules);
        EXPECT_EQ(profile.source_files, sources);
        EXPECT_EQ(profile.unattributed_samples, unattributed);
        EXPECT_EQ(buildIdDigits(profile.modules.at(0)), id);
        EXPECT_EQ(profile.modules[0].debug_id.has_value(), input.name == "processed");
    }
}

/// Else a profile of some hundred megabytes would hold a machine for hours, or crash it.
TEST(Firefox, IsReadInTimeAndMemoryThatItsSizeBounds) {
    std::string prefixes = "null";
    std::string frames = "0";
    std::string samples = "0";
    for (int i = 0; i < 100000; ++i) {
        prefixes += "," + std::to_string(i);
        frames += ",0";
        samples += ",100000";
    }
    auto const deep = readProfile(
        R"({"libs":[{"path":"/a"}],"threads":[{"samples":{"stack":[)" + samples +
        R"(]},"stackTable":{"prefix":[)" + prefixes + R"(],"frame":[)" + frames +
        R"(]},"frameTable":{"func":[0]},"funcTable":{"resource":[0]},"resourceTable":{"lib":[0]}}]})");
    EXPECT_THAT(summary(deep), ElementsAre("/a file 100001"));
    for (auto const& [content, error] : std::vector<std::pair<std::string, std::string>>{
             {R"({"meta":{"version":1},"a":)" + std::string(1000000, '['),
              "the profile ends early"},
             {R"({"libs":[{"path":"/a","start":1e99,"end":-1e99}],"threads":[NaN]})",
              "no valid JSON from here on"},
             {R"({"libs":[{}],"a":1e999})", "no valid JSON from here on"},
             {R"({"libs":[{}],"a":")"
              "\xff"
              R"("})",
              "no valid JSON from here on"},
             {R"({"meta":{"version":1}})", "neither threads nor libraries are in it"},
             {R"({"libs":[{"path":"/b"}],"libs":[{"path":"/a"}],"threads":[{"samples":{"stack":
[0,1,-7,9e9,"x",{},[]],"stack":[0,1,2,3,77],"weight":[1,18446744073709551615,-5]},"stackTable":
{"prefix":[2,1,0,-9],"frame":[0,5,-1,0]},"frameTable":{"func":[0]},"funcTable":{"resource":[0]},
"resourceTable":{"lib":[0,7,-4]}}],"processes":)" +
                  std::string(30, '[') + std::string(30, ']') + "}",
              ""},
         }) {
        auto const profile = readProfile(content);
        EXPECT_EQ(profile.format, "firefox") << content;
        EXPECT_EQ(profile.errors.empty() ? "" : profile.errors[0].message, error) << content;
    }
}

TEST(Pprof, CountsSamplesAndListsSourcesByMapping) {
    for (auto const& input : inputs()) {
        if (input.format != "pprof")
            continue;
        auto const profile = readProfile(input.content);
        EXPECT_THAT(summary(profile), ElementsAre("/bin/app file 5 abcd", "/lib/libx.so file 7+5"));
        EXPECT_THAT(profile.source_files, ElementsAre("src/main.cc"));
        EXPECT_THAT(profile.modules[0].source_files, ElementsAre(0U));
    }
}

TEST(Pprof, CountsStacksWhereNoValueCountsAndTakesTheFirstThatDoes) {
    PprofFile bytes;
    bytes.string("").string("space").string("bytes").string("/app").string("count");
    auto counted = bytes.mapping(1, 3, 0).location(1, 1, 0);
    bytes.unit(1, 2).sample({1}, {4096}).sample({1}, {8192});
    EXPECT_EQ(readProfile(bytes.content()).modules.at(0).samples, 2U);
    counted.unit(1, 2).unit(1, 4).sample({1}, {4096, 3});
    EXPECT_EQ(readProfile(counted.content()).modules.at(0).samples, 3U);
}

TEST(Pprof, IgnoresReferencesToWhatIsNotThere) {
    PprofFile file;
    file.string("").string("/app").mapping(1, 1, 77).location(1, 9, 9).sample({1, 5}, {});
    auto const profile = readProfile(file.content());
    EXPECT_THAT(names(profile), ElementsAre("/app"));
    EXPECT_EQ(profile.unattributed_samples, 1U);
}

TEST(Pprof, StopsUnpackingAtTheLimit) {
    PprofFile file;
    file.unit(1, 2).string("").string("/app").mapping(1, 1, 0).string(std::string(1 << 20, 'x'));
    ReadOptions options;
    options.max_unpacked = 1000;
    auto const profile = readProfile(gzip(file.content()), options);
    EXPECT_THAT(names(profile), ElementsAre("/app"));
    EXPECT_THAT(profile.errors.at(0).message, HasSubstr("limit of 1000 bytes"));

    auto const bomb = gzip(file.string(std::string(20 << 20, 'x')).content());
    EXPECT_THAT(readProfile(bomb).errors, SizeIs(2)) << "out of proportion to its size";
    options = ReadOptions();
    options.max_expansion = 2000;
    EXPECT_THAT(readProfile(bomb, options).errors, IsEmpty());
}

TEST(Limits, NamesBeyondTheBudgetAreLeftOutAndTold) {
    std::string list;
    for (int i = 0; i < 100; ++i)
        list += "/bin/app" + std::to_string(i) + "\n";
    ReadOptions options;
    options.max_names = 2000;
    auto const profile = readProfile(list, options);
    EXPECT_THAT(profile.modules.size(), AllOf(Gt(1U), Lt(50U)));
    EXPECT_THAT(profile.errors, SizeIs(1));
}

TEST(Names, ComeWholeAndApartWhateverBytesTheyHold) {
    std::vector<std::string> const lines{"/a", "/a\tb", "/a\x1b[1m", "/a b", "/a\r"};
    std::vector<std::string> all = lines;
    all.emplace_back("/a\nb");
    PerfFile perf;
    perf.attr(PerfFile::c_sampleType);
    CoreFile core;
    PprofFile pprof;
    pprof.unit(0, 0).string("");
    std::string maps;
    std::string modules;
    std::string buildIds;
    std::string paths;
    for (std::size_t i = 1; i <= all.size(); ++i) {
        auto const& name = all[i - 1];
        perf.mmap(5, 0x1000 * i, 0x1000, name).sample(5, 0x1000 * i);
        core.files.push_back({name, buildId(static_cast<char>('a' + i))});
        pprof.string(name).mapping(i, i, 0);
        auto const shown = i > lines.size() ? "/a\\012b" : name;
        maps += "10-20 r-xp 0 fe:00 12 " + shown + "\n";
        modules += "0x10+0x20 - - - " + shown + "\n";
        buildIds += i > lines.size() ? "" : "abcdef " + name + "\n";
        paths += i > lines.size() ? "" : name + "\n";
    }
    for (auto const& content :
         {perf.file(), core.content(), pprof.content(), maps, modules, buildIds, paths}) {
        std::vector<std::string> found;
        for (auto const& one : readProfile(content).modules)
            found.push_back(one.name);
        EXPECT_EQ(found, content == buildIds || content == paths ? lines : all) << content;
    }

    auto const twin = std::string("/a\0\0", 4) + std::string("0\0xyz", 5);
    PprofFile zeros;
    zeros.string("").string("/a").string("78797a00003000616263").string(twin).string("616263");
    EXPECT_THAT(names(readProfile(zeros.mapping(1, 1, 2).mapping(2, 3, 4).content())),
                ElementsAre("/a 78797a00003000616263", twin + " 616263"));
    for (auto const* const format : {"maps", "unstrip", "buildid-list", "paths"})
        EXPECT_THAT(readProfile(std::string("/a\0b\n", 5), forcedTo(format)).errors, SizeIs(1));
}

TEST(Names, OnlyPlainPathsAreSafe) {
    for (auto const* const name : {"/usr/bin/a", "a..b/..c", "[vdso]", "/caf\xc3\xa9"})
        EXPECT_TRUE(isSafeName(name)) << name;
    for (auto const& name : {"", "..", "../a", "/a/..", "/a/../b", "a\nb", "a\x7f"})
        EXPECT_FALSE(isSafeName(name)) << name;
    EXPECT_TRUE(isSafeBareName("libx.so"));
    EXPECT_FALSE(isSafeBareName("/libx.so") || isSafeBareName("."));
    EXPECT_FALSE(isSafeName(std::string(5000, 'a')));
}

TEST(Names, AreShownWithoutWhatATerminalWouldObey) {
    EXPECT_EQ(displayName("/caf\xc3\xa9 x"), "/caf\xc3\xa9 x");
    EXPECT_EQ(displayName("a\x1b[1m\\\n"), "a\\x1b[1m\\x5c\\x0a");
    EXPECT_EQ(displayName("\xff\xc3"), "\\xff\\xc3");
    EXPECT_EQ(displayName("\xc2\x9b"), "\\xc2\\x9b") << "a C1 control";
    EXPECT_EQ(displayName("\xe2\x80\xae"), "\\xe2\\x80\\xae") << "right-to-left override";
    EXPECT_EQ(displayName("\xc0\xaf\xed\xa0\x80"), "\\xc0\\xaf\\xed\\xa0\\x80") << "overlong";
}

class Files : public testing::Test {
protected:
    TempTree const m_tree;
    std::string const m_path = m_tree.path("input");
};

TEST_F(Files, AreReadFromAPathAndToldWhenTheyCannotBe) {
    std::ofstream(m_path) << "/bin/app\n";
    EXPECT_THAT(names(readProfileFile(m_path)), ElementsAre("/bin/app"));
    std::ofstream(m_path, std::ios::trunc).close();
    EXPECT_THAT(readProfileFile(m_path).errors.at(0).message, HasSubstr("empty"));
    EXPECT_THAT(readProfileFile(m_path + "x").errors.at(0).message, HasSubstr("No such file"));
    EXPECT_THAT(readProfileFile("/").errors.at(0).message, HasSubstr("directory"));
    EXPECT_THAT(readProfileFile("/proc/self/exe").errors.at(0).message, HasSubstr("not a core"));
    auto const self = readProfileFile("/proc/self/maps");
    EXPECT_EQ(self.format, "maps");
    EXPECT_THAT(names(self), Contains(std::filesystem::read_symlink("/proc/self/exe")));
}

struct Damaged : testing::TestWithParam<Input> {};

TEST_P(Damaged, TruncatedInputGivesWhatIsThereAndTellsTheRest) {
    auto const& input = GetParam();
    auto const options = forcedTo(input.format);
    auto const whole = readProfile(input.content, options);
    bool const binary = input.format == "perf" || input.format == "core" || input.name == "gzipped";
    for (std::size_t size = 0; size < input.content.size(); ++size) {
        auto const cut = std::string(input.content, 0, size);
        auto const profile = readProfile(cut, options);
        ASSERT_LE(profile.modules.size(), whole.modules.size() + 1);
        ASSERT_TRUE(!binary || !profile.errors.empty() || input.name == "pipe") << size;
    }
}

INSTANTIATE_TEST_SUITE_P(Inputs, Damaged, ValuesIn(inputs()), [](auto const& tested) {
    return "input" + std::to_string(tested.index) + tested.param.format[0];
});

} // namespace

} // namespace lokata::profile::test
