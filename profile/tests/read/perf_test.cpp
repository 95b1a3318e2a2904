#include "support/inputs.h"

#include "read/names.h"
#include <lokata/profile/read.h>

#include <gmock/gmock.h>

namespace lokata::profile::test {

namespace {

using namespace testing;

PerfFile perfFile() {
    PerfFile perf;
    perf.attr(PerfFile::c_sampleType);
    return perf;
}

TEST(PerfData, EveryVariantGivesModulesWithSamplesAndBuildIds) {
    for (auto const& input : inputs()) {
        if (input.format != "perf")
            continue;
        auto const profile = readProfile(input.content);
        EXPECT_THAT(profile.errors, IsEmpty());
        auto const app =
            std::string("/usr/bin/app file 1") + (input.name == "compressed" ? "" : " 6162");
        EXPECT_THAT(summary(profile),
                    ElementsAre("[kernel.kallsyms] kernel 1", app, "/usr/lib/libx.so file 1 7879"))
            << input.name;
        EXPECT_EQ(profile.kernel_release, "6.1.0-x");
        EXPECT_TRUE(profile.has_samples);
        EXPECT_EQ(profile.unattributed_samples, 0U);
    }
}

TEST(PerfData, AttributesByTimeAndNotByPositionWithinOneRound) {
    auto perf = perfFile();
    perf.sample(5, 0x1100, 20).sample(5, 0x1100, 30);
    perf.mmap(5, 0x1000, 0x1000, "/late", 25).mmap(5, 0x1000, 0x1000, "/early", 10);
    EXPECT_THAT(summary(perf), ElementsAre("/early file 1", "/late file 1"));

    auto rounds = perfFile();
    rounds.sample(5, 0x1100, 20).finishedRound();
    rounds.mmap(5, 0x1000, 0x1000, "/bin/a", 19).finishedRound();
    EXPECT_THAT(summary(rounds), ElementsAre("/bin/a file 1"));

    ReadOptions options;
    options.max_pending = 1;
    auto early = perfFile();
    early.mmap(5, 0x1000, 0x1000, "/app", 1).sample(5, 0x1000, 2).sample(5, 0x1000, 3);
    EXPECT_THAT(summary(readProfile(early.file(), options)), ElementsAre("/app file 2"));
}

TEST(PerfData, ChildrenInheritUntilTheyExec) {
    auto perf = perfFile();
    perf.mmap(5, 0x1000, 0x1000, "/bin/sh").fork(5, 6).sample(6, 0x1000);
    perf.mmap(6, 0x5000, 0x1000, "/lib/child").sample(6, 0x1fff).sample(5, 0x5000);
    perf.exec(6).sample(6, 0x1000).sample(6, 0x5000);
    auto const profile = readProfile(perf.file());
    EXPECT_THAT(summary(profile), ElementsAre("/bin/sh file 2"));
    EXPECT_EQ(profile.unattributed_samples, 3U);
}

TEST(PerfData, ALaterMappingTakesItsRangeFromEarlierOnes) {
    auto perf = perfFile();
    perf.mmap(5, 0x1000, 0x3000, "/old").mmap(5, 0x2000, 0x1000, "/new");
    perf.sample(5, 0x1fff).sample(5, 0x2000).sample(5, 0x2fff).sample(5, 0x3000);
    perf.mmap(5, 0, 0x10000, "/all").sample(5, 0x1000);
    EXPECT_THAT(summary(perf), ElementsAre("/old file 2", "/new file 2", "/all file 1"));
}

TEST(PerfData, ABuildIdKeepsANameWithoutSamplesAndTellsRebuiltFilesApart) {
    auto perf = perfFile();
    perf.mmap(5, 0x1000, 0x1000, "/unused").mmap2(5, 0x2000, 0x1000, "/known", buildId('k'));
    perf.mmap2(6, 0x1000, 0x1000, "/known", buildId('b')).sample(6, 0x1000);
    perf.buildId(buildId('f'), "/only/in/feature");
    EXPECT_THAT(summary(perf), ElementsAre("/known file 0 6b6c", "/known file 1 6263",
                                           "/only/in/feature file 0 6667"));
}

TEST(PerfData, TellsKindsByNameAndMode) {
    auto const kernel = PERF_RECORD_MISC_KERNEL;
    auto const guest = PERF_RECORD_MISC_GUEST_USER;
    auto perf = perfFile();
    perf.mmap(~0U, 0x100000, 0, "[kernel.kallsyms]_stext", 0, kernel);
    perf.mmap(~0U, 0x10000000, 0x1000, "[ext4]", 0, kernel).sample(5, 0x10000000, 0, kernel);
    perf.mmap(~0U, 0x20000000, 0x1000, "/lib/modules/6/x.ko.xz", 0, kernel);
    perf.sample(5, 0x20000000, 0, kernel).sample(5, 0x30000000, 0, kernel);
    auto program = perf.make().u64(0x60000000).u32(64).u16(1).u16(0).text("handler", 8);
    perf.record(PERF_RECORD_KSYMBOL, 0, perf.trailer(program, 0, 0));
    perf.sample(5, 0x60000010, 0, kernel);
    perf.mmap(40, 0x1000, 0x1000, "[guest.kernel.kallsyms.40]_text", 0,
              PERF_RECORD_MISC_GUEST_KERNEL);
    perf.sample(40, 0x1000, 0, PERF_RECORD_MISC_GUEST_KERNEL);
    perf.mmap(40, 0x1000, 0x1000, "/bin/in-guest", 0, guest).sample(40, 0x1000, 0, guest);
    std::uint64_t start = 0x50000;
    for (auto const* const name :
         {"[vdso]", "[vsyscall]", "[heap]", "//anon", "/dev/zero", "/SYSV00000000 (deleted)",
          "/memfd:jit (deleted)", "/usr/lib/libold.so (deleted)"}) {
        perf.mmap(5, start, 0x100, name).sample(5, start);
        start += 0x1000;
    }
    perf.buildId(buildId('k'), "/boot/vmlinux", kernel);
    EXPECT_THAT(summary(perf),
                ElementsAre("[kernel.kallsyms] kernel 1 6b6c", "[ext4] kernel-module 1",
                            "/lib/modules/6/x.ko.xz kernel-module 1", "handler bpf 1",
                            "[guest.kernel.kallsyms.40] guest-kernel 1",
                            "/bin/in-guest guest-file 1", "[vdso] vdso 1", "[vsyscall] vsyscall 1",
                            "[heap] anonymous 1", "//anon anonymous 1", "/dev/zero anonymous 1",
                            "/SYSV00000000 (deleted) anonymous 1",
                            "/memfd:jit (deleted) anonymous 1",
                            "/usr/lib/libold.so (deleted) deleted-file 1"));
}

TEST(PerfData, TellsNamesInOtherMountNamespacesApart) {
    auto perf = perfFile();
    perf.mountNamespace(1, 77).mountNamespace(6, 88).mountNamespace(7, 77);
    for (std::uint32_t pid = 5; pid < 8; ++pid)
        perf.mmap2(pid, 0x1000, 0x1000, "/bin/app", "", pid).sample(pid, 0x1000);
    EXPECT_THAT(summary(perf), ElementsAre("/bin/app file 2", "/bin/app file 1 in 88"));
    EXPECT_EQ(deviceAndInode(readProfile(perf.file()).modules.at(1).mapped_file.value()),
              "08:01 6");
    perf.mmap2(6, 0x1000, 0x1000, "/lib/shared", "", 500).sample(6, 0x1000);
    perf.mmap2(7, 0x1000, 0x1000, "/lib/shared", "", 500).sample(7, 0x1000);
    EXPECT_THAT(summary(perf), Contains("/lib/shared file 2"));
}

TEST(PerfData, CountsCallersOnceASample) {
    PerfFile perf;
    perf.attr(PerfFile::c_sampleType | PERF_SAMPLE_CALLCHAIN);
    perf.mmap(5, 0x1000, 0x1000, "/app").mmap(5, 0x3000, 0x1000, "/lib");
    auto chain = perf.make().u64(0x3000).u32(5).u32(5).u64(0).u64(5);
    chain.u64(PERF_CONTEXT_USER).u64(0x3000).u64(0x1000).u64(0x1010).u64(0x3010);
    perf.record(PERF_RECORD_SAMPLE, PERF_RECORD_MISC_USER, chain);
    EXPECT_THAT(summary(perf), ElementsAre("/app file 0+1", "/lib file 1"));
}

TEST(PerfData, FindsTheLayoutOfEachSampleByItsId) {
    PerfFile perf;
    auto const withId = PerfFile::c_sampleType | PERF_SAMPLE_IDENTIFIER;
    perf.attr(withId, {11}).attr(withId | PERF_SAMPLE_READ, {22});
    perf.attr(withId | PERF_SAMPLE_READ | PERF_SAMPLE_CALLCHAIN, {33});
    auto map = perf.make().u32(5).u32(5).u64(0x1000).u64(0x1000).u64(0).text("/app", 8);
    perf.record(PERF_RECORD_MMAP, PERF_RECORD_MISC_USER, perf.trailer(map, 5, 0).u64(22));
    auto const start = [&](std::uint64_t id) {
        return perf.make().u64(id).u64(0x1000).u32(5).u32(5).u64(9);
    };
    perf.record(PERF_RECORD_SAMPLE, PERF_RECORD_MISC_USER, start(11));
    perf.record(PERF_RECORD_SAMPLE, PERF_RECORD_MISC_USER,
                start(33).u64(1).u64(2).u64(PERF_CONTEXT_USER).u64(0x1000));
    auto const profile = readProfile(perf.file());
    EXPECT_THAT(profile.errors, IsEmpty());
    EXPECT_THAT(summary(profile), ElementsAre("/app file 2"));
}

TEST(PerfData, SumsThePeriodsOfEachEventThatHasSamples) {
    PerfFile perf;
    perf.attr(PerfFile::c_countedType, {7}).attr(PerfFile::c_countedType, {8});
    perf.attr(PerfFile::c_countedType, {9, 10});
    perf.mmap(5, 0x1000, 0x1000, "/app").mmap(5, 0x3000, 0x1000, "/lib");
    perf.counted(5, 0x1000, 10, 100).counted(5, 0x3000, 9, 30).counted(5, 0x3000, 7, 4);
    perf.counted(5, 0x9000, 9, 1);
    for (std::string const& content : {perf.file(), perf.pipe()}) {
        Profile const profile = readProfile(content);
        ASSERT_EQ(profile.events.size(), 2U) << "nothing was sampled of the second";
        EXPECT_EQ(profile.events[0].period, 4U);
        EXPECT_EQ(profile.events[1].period, 131U);
        EXPECT_EQ(profile.events[1].unattributed_period, 1U);
        EXPECT_EQ(profile.events[1].samples, 3U);
        EXPECT_THAT(*profile.modules[0].periods, ElementsAre(0, 100));
        EXPECT_THAT(*profile.modules[1].periods, ElementsAre(4, 30));
    }
}

TEST(PerfData, MemoryThatSeveralProcessesRanInBelongsToNone) {
    auto perf = perfFile();
    perf.mmap(5, 0x1000, 0x1000, "//anon").sample(5, 0x1000);
    EXPECT_EQ(readProfile(perf.file()).modules[0].pid, 5U);
    perf.mmap(6, 0x1000, 0x1000, "//anon").sample(6, 0x1000);
    EXPECT_EQ(readProfile(perf.file()).modules[0].pid, 0U);
}

TEST(PerfData, ReadsARecordingThatWasNeverFinishedOverTraceDataBetweenRecords) {
    auto perf = perfFile();
    perf.record(71, 0, perf.make().u64(16).padTo(40));
    perf.record(0, 0, perf.make().u64(0x0001000000000000));
    perf.mmap(5, 0x1000, 0x1000, "/app").sample(5, 0x1000);
    for (bool const finished : {true, false}) {
        auto const profile = readProfile(perf.file(finished));
        EXPECT_THAT(summary(profile), ElementsAre("/app file 1"));
        ASSERT_THAT(profile.errors, SizeIs(finished ? 0 : 1));
        EXPECT_TRUE(finished ||
                    profile.errors[0].message.find("not finished") != std::string::npos);
    }
}

TEST(PerfData, ReadsMoreThanFitsIntoMemoryAtOnce) {
    constexpr int c_samples = 150'000;
    constexpr std::uint64_t c_trace = 9U << 20;
    auto perf = perfFile();
    perf.mmap(5, 0x1000, 0x1000, "/app").record(71, 0, perf.make().u64(c_trace).padTo(40));
    auto content = perf.file(false) + std::string(c_trace, 'x');
    auto samples = perfFile();
    for (int i = 0; i < c_samples; ++i)
        samples.sample(5, 0x1000);
    content += samples.records();
    EXPECT_THAT(summary(readProfile(content)),
                ElementsAre("/app file " + std::to_string(c_samples)));
}

TEST(PerfData, TellsWhereARecordIsDamagedAndStillReadsTheFeatures) {
    auto perf = perfFile();
    perf.mmap(5, 0x1000, 0x1000, "/app").sample(5, 0x1000).buildId(buildId('a'), "/app");
    auto content = perf.file();
    auto const at = content.find("/app") + 8 + 16;
    content.replace(at + 6, 2, std::string(2, '\0'));
    auto const profile = readProfile(content);
    EXPECT_THAT(summary(profile), ElementsAre("/app file 0 6162"));
    EXPECT_THAT(profile.errors, ElementsAre(Field(&ReadError::offset, at)));
}

TEST(PerfData, StopsInflatingAtTheLimit) {
    ReadOptions options;
    options.max_inflated = 100;
    auto perf = perfFile();
    perf.record(81, 0, Bytes().raw(zstdWithoutEnd(std::string(1 << 20, 'x'))));
    EXPECT_THAT(readProfile(perf.file(), options).errors.at(0).message, HasSubstr("limit"));
}

} // namespace

} // namespace lokata::profile::test
