#include "support/inputs.h"

#include "profile/names.h"
#include "profile/read.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

#include <gmock/gmock.h>

namespace lokata::profile::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> names(Profile const& profile) {
    std::vector<std::string> all;
    for (auto const& one : profile.modules) {
        all.push_back(one.name + (one.build_id.empty() ? "" : " " + toHex(one.build_id)));
    }
    return all;
}

TEST(Detection, KnowsEveryKindByItsContent) {
    for (auto const& input : inputs()) {
        auto const profile = readProfile(input.content);
        ASSERT_TRUE(profile.format) << input.name;
        EXPECT_EQ(formatName(*profile.format), std::string(formatName(input.format)));
        EXPECT_THAT(profile.errors, IsEmpty()) << formatName(input.format) << " " << input.name;
        EXPECT_EQ(formatFromName(formatName(input.format)), input.format);
    }
    EXPECT_FALSE(detectFormat(std::string("\0\1\2\3", 4)));
    EXPECT_FALSE(detectFormat(""));
    EXPECT_EQ(detectFormat("\n\n/usr/bin/app\n"), Format::path_list);
}

TEST(Detection, GivesWayToAForcedFormat) {
    ReadOptions options;
    options.format = Format::path_list;
    EXPECT_THAT(names(readProfile("abcdef01 /bin/app\n", options)),
                ElementsAre("abcdef01 /bin/app"));
}

TEST(BuildIdList, TakesBlanksInNamesAndFilesWithoutABuildId) {
    auto const profile = readProfile("00112233445566778899aabbccddeeff00112233 /opt/my app\r\n" +
                                     std::string(41, ' ') + "/bin/none\n\nabc /odd/digits\n");
    EXPECT_THAT(names(profile),
                ElementsAre("/opt/my app 00112233445566778899aabbccddeeff00112233", "/bin/none"));
    ASSERT_THAT(profile.errors, SizeIs(1));
    EXPECT_EQ(profile.errors[0].offset, 54U + 51U + 1U);
}

TEST(UnstripList, NamesTheFileOrElseTheModule) {
    auto const profile = readProfile("0x400000+0x207000 2818b2009547@0x400284 /usr/bin/sleep "
                                     "/usr/lib/debug/bin/sleep.debug [exe]\n"
                                     "0x7000+0x1000 1e2a683b7d87@0x7340 . - linux-vdso.so.1\n"
                                     "0x8000+0x1000 - /opt/my app/x - x\n"
                                     "0x9000+0x2000 - - - [vdso: 7]\n"
                                     "not this\n");
    EXPECT_THAT(names(profile),
                ElementsAre("/usr/bin/sleep 2818b2009547", "linux-vdso.so.1 1e2a683b7d87",
                            "/opt/my app/x", "[vdso: 7]"));
    EXPECT_EQ(profile.modules[1].kind, ModuleKind::vdso);
    EXPECT_THAT(profile.errors, SizeIs(1));
}

TEST(Maps, NamesWhatHasAnExecutableMapping) {
    auto const profile = readProfile(
        "1000-2000 r--p 00000000 fe:00 12    /bin/a\\012b c\n2000-3000 r-xp 0 fe:00 12 "
        "/bin/a\\012b "
        "c\n3000-4000 r--p 0 fe:00 13 /usr/share/data\n4000-5000 r-xp 0 00:00 0 \n"
        "5000-6000 r-xp 0 fe:00 14 /lib/back\\slash (deleted)\nffff-10000 --xp 0 00:00 0 "
        "[vsyscall]\n");
    EXPECT_THAT(names(profile),
                ElementsAre("/bin/a\nb c", "/lib/back\\slash (deleted)", "[vsyscall]"));
    EXPECT_EQ(profile.modules[1].kind, ModuleKind::deleted_file);
    EXPECT_THAT(names(readProfile("3000-4000 r--p 0 fe:00 13 /only/data\n")),
                ElementsAre("/only/data"));
}

struct CoreVariant : testing::TestWithParam<std::pair<bool, bool>> {};

TEST_P(CoreVariant, NamesModulesWithTheBuildIdsInTheirPages) {
    CoreFile core;
    core.wide = GetParam().first;
    core.bigEndian = GetParam().second;
    core.files = {{"/bin/app", buildId('a', 8), false},
                  {"/usr/share/data", "", false},
                  {"/lib/libx.so", buildId('b', 32)},
                  {"/lib/gone.so (deleted)", ""}};
    auto const profile = readProfile(core.content());
    EXPECT_THAT(profile.errors, IsEmpty());
    ASSERT_THAT(names(profile),
                ElementsAre("/bin/app 6162636465666768", testing::StartsWith("/lib/libx.so 6263"),
                            "/lib/gone.so (deleted)"));
    EXPECT_THAT(profile.modules[1].build_id, SizeIs(32));
}

INSTANTIATE_TEST_SUITE_P(ClassesAndByteOrders, CoreVariant,
                         testing::Values(std::pair(true, false), std::pair(true, true),
                                         std::pair(false, false), std::pair(false, true)));

TEST(Core, RefusesAnOrdinaryElfFile) {
    auto const profile = readProfileFile("/proc/self/exe");
    EXPECT_THAT(profile.modules, IsEmpty());
    ASSERT_THAT(profile.errors, SizeIs(1));
    EXPECT_THAT(profile.errors[0].message, HasSubstr("not a core file"));
}

TEST(Pprof, CountsSamplesAndListsSourcesByMapping) {
    for (auto const& input : inputs()) {
        if (input.format != Format::pprof) {
            continue;
        }
        auto const profile = readProfile(input.content);
        EXPECT_THAT(names(profile), ElementsAre("/bin/app abcdef0123", "/lib/libx.so"));
        EXPECT_EQ(profile.modules[0].samples, 5U);
        EXPECT_EQ(profile.modules[1].samples, 7U);
        EXPECT_EQ(profile.modules[1].caller_samples, 5U);
        EXPECT_THAT(profile.source_files, ElementsAre("src/main.cc"));
        EXPECT_THAT(profile.modules[0].source_files, ElementsAre(0U));
    }
}

TEST(Pprof, CountsStacksWhereNoValueCountsAndTakesTheFirstThatDoes) {
    PprofFile bytes;
    bytes.string("").string("space").string("bytes").string("/app").string("count");
    bytes.mapping(1, 3, 0).location(1, 1, 0);
    auto counted = bytes;
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
    file.string("").string("/app").mapping(1, 1, 0).string(std::string(1 << 20, 'x'));
    ReadOptions options;
    options.max_unpacked = 1000;
    auto const profile = readProfile(gzip(file.content()), options);
    EXPECT_THAT(names(profile), ElementsAre("/app"));
    ASSERT_FALSE(profile.errors.empty());
    EXPECT_THAT(profile.errors[0].message, HasSubstr("limit of 1000 bytes"));

    auto const bomb = gzip(file.string(std::string(20 << 20, 'x')).content());
    EXPECT_THAT(readProfile(bomb).errors, SizeIs(2)) << "out of proportion to its size";
    options = ReadOptions();
    options.max_expansion = 2000;
    EXPECT_THAT(readProfile(bomb, options).errors, IsEmpty());
}

TEST(Limits, NamesBeyondTheBudgetAreLeftOutAndTold) {
    std::string list;
    for (int i = 0; i < 100; ++i) {
        list += "/bin/app" + std::to_string(i) + "\n";
    }
    ReadOptions options;
    options.max_names = 2000;
    auto const profile = readProfile(list, options);
    EXPECT_THAT(profile.modules.size(), testing::AllOf(testing::Gt(1U), testing::Lt(50U)));
    EXPECT_THAT(profile.errors, SizeIs(1));
}

TEST(Names, OnlyPlainPathsAreSafe) {
    for (auto const* const name : {"/usr/bin/a", "a..b/..c", "[vdso]", "/caf\xc3\xa9"}) {
        EXPECT_TRUE(isSafeName(name)) << name;
    }
    for (auto const* const name : {"", "..", "../a", "/a/..", "/a/../b", "a\nb", "a\x7f"}) {
        EXPECT_FALSE(isSafeName(name)) << name;
    }
    EXPECT_TRUE(isSafeBareName("libx.so"));
    EXPECT_FALSE(isSafeBareName("/libx.so"));
    EXPECT_FALSE(isSafeBareName("."));
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

TEST(Files, AreReadFromAPathAndToldWhenTheyCannotBe) {
    auto const path =
        std::filesystem::temp_directory_path() / ("profile-readers-" + std::to_string(::getpid()));
    std::ofstream(path) << "/bin/app\n";
    EXPECT_THAT(names(readProfileFile(path)), ElementsAre("/bin/app"));
    std::ofstream(path, std::ios::trunc).close();
    EXPECT_THAT(readProfileFile(path).errors.at(0).message, HasSubstr("empty"));
    std::filesystem::remove(path);
    EXPECT_THAT(readProfileFile(path).errors.at(0).message, HasSubstr("No such file"));
    EXPECT_THAT(readProfileFile("/").errors.at(0).message, HasSubstr("directory"));
    auto const self = readProfileFile("/proc/self/maps");
    EXPECT_EQ(self.format, Format::maps);
    EXPECT_THAT(names(self), testing::Contains(std::filesystem::read_symlink("/proc/self/exe")));
}

/// What every result has to hold, however its input looks.
void expectSound(Profile const& profile) {
    for (auto const& one : profile.modules) {
        ASSERT_LE(one.build_id.size(), 64U);
        for (auto const source : one.source_files) {
            ASSERT_LT(source, profile.source_files.size());
        }
    }
    for (auto const& error : profile.errors) {
        ASSERT_EQ(displayName(error.message), error.message);
    }
}

struct Damaged : testing::TestWithParam<Input> {};

TEST_P(Damaged, TruncatedInputGivesWhatIsThereAndTellsTheRest) {
    auto const& input = GetParam();
    ReadOptions options;
    options.format = input.format;
    auto const whole = readProfile(input.content, options);
    bool const binary = input.format == Format::perf_data || input.format == Format::core ||
                        input.name == "gzipped";
    for (std::size_t size = 0; size < input.content.size(); ++size) {
        auto const cut = std::string(input.content, 0, size);
        auto const profile = readProfile(cut, options);
        expectSound(profile);
        ASSERT_LE(profile.modules.size(), whole.modules.size() + 1);
        ASSERT_TRUE(!binary || !profile.errors.empty() || input.name == "pipe") << size;
        expectSound(readProfile(cut));
    }
}

TEST_P(Damaged, FlippedBytesNeitherCrashNorHang) {
    auto const& input = GetParam();
    ReadOptions options;
    options.format = input.format;
    options.max_unpacked = options.max_inflated = 1 << 20;
    std::uint32_t state = 12345;
    auto const random = [&] { return state = state * 1664525 + 1013904223, state >> 8; };
    for (int round = 0; round < 2000; ++round) {
        auto content = input.content;
        for (auto flips = 1 + random() % 4; flips > 0; --flips) {
            content[random() % content.size()] = static_cast<char>(random());
        }
        expectSound(readProfile(content, options));
    }
}

INSTANTIATE_TEST_SUITE_P(Inputs, Damaged, testing::ValuesIn(inputs()), [](auto const& tested) {
    return "input" + std::to_string(tested.index) + formatName(tested.param.format)[0];
});

/// The real tool, where this machine lets it record.
TEST(RealRecording, AgreesWithTheToolThatWroteIt) {
    auto const dir =
        std::filesystem::temp_directory_path() / ("profile-real-" + std::to_string(::getpid()));
    std::filesystem::create_directory(dir);
    auto const file = (dir / "perf.data").string();
    auto const record = "perf record -q -e cpu-clock -o " + file +
                        " -- sha256sum $(command -v perf) >/dev/null 2>&1";
    auto const list = "perf buildid-list -i " + file + " >" + file + ".txt 2>/dev/null";
    bool const recorded = std::system(record.c_str()) >= 0 && std::system(list.c_str()) == 0 &&
                          std::filesystem::exists(file);
    auto const ours = recorded ? readProfileFile(file) : Profile();
    auto const theirs = recorded ? readProfileFile(file + ".txt") : Profile();
    std::filesystem::remove_all(dir);
    if (!recorded) {
        GTEST_SKIP() << "perf cannot record here";
    }
    EXPECT_THAT(ours.errors, IsEmpty());
    EXPECT_TRUE(ours.has_samples);
    for (auto const& name : names(theirs)) {
        EXPECT_THAT(names(ours), testing::Contains(name));
    }
}

} // namespace

} // namespace lokata::profile::test
