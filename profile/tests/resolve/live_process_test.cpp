#include <lokata/profile/resolver.h>

#include "child_process.h"
#include "search/live_file.h"
#include "support/search_fixture.h"
#include <lokata/profile/process.h>
#include <lokata/profile/read.h>

#include <algorithm>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>

namespace lokata::profile::test {
namespace {

using namespace testing;

constexpr std::size_t c_size = 4096;

void* map(std::string const& path) {
    auto const file = toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY);
    return ::mmap(nullptr, c_size, PROT_READ | PROT_EXEC, MAP_PRIVATE, file.get(), 0);
}

/// This process is the one that is asked.
class LiveProcess : public SearchFixture {
protected:
    Profile recorded(std::string const& part,
                     Profile profile = readProfileFile("/proc/self/maps")) {
        auto& modules = profile.modules;
        modules.erase(
            std::remove_if(modules.begin(), modules.end(),
                           [&](Module const& one) { return one.name.find(part) == one.name.npos; }),
            modules.end());
        return profile;
    }
    ModuleResolution resolve(Profile profile) {
        Resolver resolver(environment(), m_options);
        return resolver.resolve(std::move(profile), "test").modules.at(0);
    }
    static bool canFollowMappings(Profile const& profile) {
        LiveFile const live(profile.live_process, profile.modules.at(0).mapped_file.value());
        return live.reached({}).has_value();
    }
};

TEST_F(LiveProcess, ProvesTheFileThatItHasMappedAndNoOther) {
    std::string const path = binary("bin/tool", c_id);
    std::string const other = binary("bin/other", c_otherId);
    void* const memory = map(path);
    ASSERT_NE(memory, MAP_FAILED);

    ModuleResolution const plain = resolve(recorded("/bin/tool"));
    if (plain.status == ModuleStatus::unproven)
        GTEST_SKIP() << "the file system shows another device in mappings";
    EXPECT_EQ(plain.status, ModuleStatus::resolved);
    EXPECT_EQ(foundAt(*plain.binary), "live-process " + path);
    EXPECT_EQ(plain.binary->identity.kind, IdentityKind::device_and_inode);
    EXPECT_EQ(plain.module.pid, static_cast<std::uint32_t>(::getpid()));
    Profile const copy = recorded("/bin/tool", readProfile(contentOf("/proc/self/maps")));
    EXPECT_EQ(resolve(copy).status, ModuleStatus::unproven) << "a copy may be of any machine";

    ASSERT_EQ(std::rename(other.c_str(), path.c_str()), 0);
    Profile const replaced = recorded("/bin/tool (deleted)");
    ModuleResolution const found = resolve(replaced);
    if (canFollowMappings(replaced)) {
        EXPECT_EQ(found.status, ModuleStatus::resolved);
        EXPECT_THAT(found.binary->path, StartsWith("/proc/"));
    } else {
        EXPECT_EQ(found.status, ModuleStatus::missing);
        EXPECT_EQ(found.binary->rejected.at(0).identity.kind, IdentityKind::device_and_inode);
    }
    ::munmap(memory, c_size);
    EXPECT_EQ(resolve(replaced).status, ModuleStatus::unproven) << "nothing holds the inode";
}

TEST_F(LiveProcess, ShowsTheBuildIdInItsMemory) {
    Profile const libc = recorded("/libc.so");
    if (libc.modules.empty())
        GTEST_SKIP() << "no shared libc";
    Module const& module = libc.modules[0];
    EXPECT_EQ(LiveFile(libc.live_process, module.mapped_file.value()).buildIdInMemory(),
              readElfFacts(module.name).build_id);
}

/// As on an overlay, where a file that is written to keeps its numbers: what the process has of it
/// is another content.
TEST_F(LiveProcess, TakesNoFileOfAnotherBuildIdForTheMappedOne) {
    Profile const libc = recorded("/libc.so");
    if (libc.modules.empty())
        GTEST_SKIP() << "no shared libc";
    std::string const path = m_tree.file("bin/overwritten", contentOf(libc.modules[0].name));
    BuildId const id = readElfFacts(path).build_id;
    auto const file = toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY);
    void* const memory =
        ::mmap(nullptr, c_size, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE, file.get(), 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto* const start = static_cast<char*>(memory);
    auto* const note = std::search(start, start + c_size, id.begin(), id.end(),
                                   [](char a, std::uint8_t b) { return std::uint8_t(a) == b; });
    ASSERT_NE(note, start + c_size);
    *note ^= 1;
    ModuleResolution const found = resolve(recorded("/bin/overwritten"));
    EXPECT_EQ(found.status, ModuleStatus::missing);
    EXPECT_EQ(found.binary->rejected.at(0).identity.kind, IdentityKind::build_id);
    *note ^= 1;
    EXPECT_EQ(resolve(recorded("/bin/overwritten")).status, ModuleStatus::resolved);
    ::munmap(memory, c_size);
}

/// What is mapped is another file than that of its name, or than any.
TEST_F(LiveProcess, TellsTheBuildIdsOfTheVeryFilesThatItHasMapped) {
    Profile const libc = recorded("/libc.so");
    if (libc.modules.empty())
        GTEST_SKIP() << "no shared libc";
    std::string const content = contentOf(libc.modules[0].name);
    BuildId const id = readElfFacts(libc.modules[0].name).build_id;
    std::string const path = m_tree.file("bin/replaced", content);
    void* const memory = map(path);
    ASSERT_NE(memory, MAP_FAILED);
    std::filesystem::remove(path);
    binary("bin/replaced", c_otherId);
    std::string const copy = m_tree.file("moved/replaced", content);
    searchIn("moved");

    auto const process = static_cast<std::uint32_t>(::getpid());
    Profile const profile = recorded("/bin/replaced", readProcess(process));
    EXPECT_EQ(profile.modules.at(0).build_id, id);
    ModuleResolution const found = resolve(profile);
    EXPECT_EQ(found.status, ModuleStatus::resolved);
    EXPECT_EQ(found.symbols->identity.expected, toHex(id));
    Profile elsewhere = profile;
    elsewhere.live_process = 0;
    EXPECT_EQ(resolve(elsewhere).binary->path, copy);
    ::munmap(memory, c_size);
    EXPECT_FALSE(recorded("[vdso]", readProcess(process)).modules.at(0).build_id.empty());
}

TEST_F(LiveProcess, IsToldWhereItHasEndedOrMayNotBeLookedAt) {
    ChildProcess const stranger([](ChildProcess::report_t const& report) {
        auto const parent = static_cast<std::uint32_t>(::getppid());
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            return report(2);
        Profile const denied = readProcess(parent);
        report(denied.errors.at(0).message.find("Permission denied") != std::string::npos);
        report(readProcess(0x7fffffff).errors.at(0).message.find("no such process") == 0);
    });
    std::uint64_t isTold = 0;
    ASSERT_TRUE(stranger.nextReport(isTold));
    if (isTold == 2)
        GTEST_SKIP() << "privileges cannot be dropped";
    EXPECT_EQ(isTold, 1U);
    ASSERT_TRUE(stranger.nextReport(isTold));
    EXPECT_EQ(isTold, 1U);
    while (stranger.nextReport(isTold))
        ;
    auto const child = static_cast<std::uint32_t>(stranger.pid());
    siginfo_t info{};
    ASSERT_EQ(::waitid(P_PID, child, &info, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(readProcess(child).errors.at(0).message, "the process has ended");
    stranger.wait();
}

/// The child sees another file under the name, and runs until it is killed.
TEST_F(LiveProcess, LeadsIntoItsMountNamespace) {
    std::string const directory = m_tree.dir("mounted");
    std::string const here = binary("mounted/tool", c_otherId);
    std::string const there = binary("tool", c_id);
    ChildProcess const child([&](ChildProcess::report_t const& report) {
        bool const isApart = ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                             ::mount(there.c_str(), here.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                             map(here) != MAP_FAILED;
        report(isApart ? 1 : 0);
        ::pause();
    });
    std::uint64_t isApart = 0;
    ASSERT_TRUE(child.nextReport(isApart));
    std::string const process = "/proc/" + std::to_string(child.pid());
    if (isApart != 0) {
        Profile const maps = recorded("/mounted/tool", readProfileFile(process + "/maps"));
        ModuleResolution const found = resolve(maps);
        EXPECT_EQ(found.status, ModuleStatus::resolved);
        EXPECT_EQ(found.binary->path, process + "/root" + here);
        Profile const asked = readProcess(static_cast<std::uint32_t>(child.pid()));
        EXPECT_EQ(resolve(recorded("/mounted/tool", asked)).binary->path, found.binary->path);
    }
    child.kill();
    if (isApart == 0)
        GTEST_SKIP() << "no mount namespace may be made";
}

} // namespace
} // namespace lokata::profile::test
