#include <lokata/profile/archive.h>

#include "support/inputs.h"
#include "support/resolver_fixture.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace lokata::profile::test {
namespace {

using namespace testing;
using namespace LK_2_13;

using ArchiveTest = ResolverFixture;

/// Takes away everything but the archive, as on another machine.
TEST_F(ArchiveTest, TheArchiveAloneGivesTheSameAnswers) {
    searchIn("tree");
    BuildId const linkedId{5, 5, 5, 5};
    BuildId const kernelId{7, 7, 7, 7};
    binary("tree/bin/plain", c_id);
    symbols("debug/.build-id/01/02030405060708.debug", c_id);
    binary("debug/.build-id/05/050505", linkedId);
    ElfBuilder linked;
    linked.buildId(linkedId).debugInfo().altLink("../../.dwz/shared.debug", c_otherId);
    linked.write(m_tree.file("debug/.build-id/05/050505.debug"));
    symbols("debug/.dwz/shared.debug", c_otherId);
    symbols("tree/unstripped", {6, 6, 6, 6});
    symbols("root/boot/vmlinux-" + c_release, kernelId);
    std::vector<Module> const modules{module("/opt/bin/plain", c_id),
                                      module("/opt/bin/linked", linkedId),
                                      module("/opt/bin/unstripped", {6, 6, 6, 6}),
                                      module("[kernel.kallsyms]", kernelId, ModuleKind::kernel),
                                      module("/opt/bin/nowhere", {8, 8, 8, 8})};
    ProfileResolution const here = resolve(modules);
    ASSERT_FALSE(here.learned.empty());
    EXPECT_EQ(here.learned[0].from + " " + here.learned[0].to, "/opt " + m_tree.path("tree"));

    std::string const archive = m_tree.path("fresh/archive");
    ArchiveOutcome const kept = archiveFiles(here, archive);
    EXPECT_THAT(kept.errors, IsEmpty());
    EXPECT_EQ(kept.added, 7U) << "four binaries, two symbol files, one supplementary file";
    EXPECT_EQ(archiveFiles(here, archive).kept, 7U);

    auto const contents = [](ModuleResolution const& each) {
        return contentOf(each.binary->path) + contentOf(each.symbols->path);
    };
    std::vector<std::string> before;
    for (ModuleResolution const& each : here.modules)
        before.push_back(contents(each));
    for (char const* const gone : {"tree", "debug", "root"})
        std::filesystem::remove_all(m_tree.path(gone));
    searchOnlyIn(archive);
    ProfileResolution const there = resolve(modules);
    for (std::size_t i = 0; i < modules.size(); ++i) {
        EXPECT_EQ(there.modules[i].status, here.modules[i].status) << modules[i].name;
        EXPECT_EQ(contents(there.modules[i]), before[i]) << modules[i].name;
    }
    ASSERT_TRUE(there.modules[1].supplementary);
    EXPECT_TRUE(there.modules[1].supplementary->found());
    EXPECT_FALSE(there.modules[4].binary->found());

    std::string const copy = there.modules[0].binary->path;
    std::ofstream(copy, std::ios::app) << "more than was archived, behind a whole ELF file";
    ModuleResolution const damaged = resolveOne(modules[0]);
    EXPECT_EQ(damaged.status, ModuleStatus::missing);
    ASSERT_THAT(rejections(*damaged.binary), ElementsAre(StartsWith("svError " + copy)));
    Identity const& identity = damaged.binary->rejected[0].identity;
    EXPECT_EQ(identity.kind, IdentityKind::source_md5);
    EXPECT_THAT(copy, HasSubstr("/" + identity.expected + "/"));
    EXPECT_THAT(identity.actual, AllOf(SizeIs(32), Ne(identity.expected)));

    auto const ofName = std::filesystem::path(copy).parent_path().parent_path();
    auto const deeper = std::filesystem::path(archive) / "binaries" / "deeper";
    std::filesystem::create_directory(deeper);
    std::filesystem::rename(ofName, deeper / ofName.filename());
    EXPECT_EQ(resolveOne(modules[0]).status, ModuleStatus::missing) << "wherever it lies";
}

/// Files in which nothing tells what they are, two of each bare name.
class NamesakesInArchives : public ResolverFixture {
protected:
    static Profile recorded(std::string const& host) {
        Profile profile;
        profile.host_name = host;
        profile.modules = {module("/a/tool"), module("/b/tool")};
        profile.source_files = {"/a/main.c", "/b/main.c"};
        profile.modules[0].source_files = {0, 1};
        return profile;
    }
    /// What was resolved to what, with the contents of the files.
    static std::vector<std::string> answers(ProfileResolution const& resolution) {
        std::vector<std::string> result;
        auto const add = [&](FileResolution const& file) {
            result.push_back(file.found() ? contentOf(file.path) : "");
            EXPECT_TRUE(!file.found() || file.confidence == cfPolicyHigh) << "a note is no proof";
        };
        for (ModuleResolution const& each : resolution.modules)
            add(*each.binary);
        for (SourceResolution const& each : resolution.sources)
            add(each.file);
        return result;
    }
    /// Archives a profile of a machine, with files of its own; gives the answers on it.
    std::vector<std::string> archive(std::string const& host) {
        for (std::string const directory : {"root/a/", "root/b/"}) {
            ElfBuilder().section("of", host + directory).write(m_tree.file(directory + "tool"));
            m_tree.file(directory + "main.c", host + directory);
        }
        ProfileResolution const here = resolve(recorded(host));
        EXPECT_THAT(archiveFiles(here, m_tree.path(host)).errors, IsEmpty());
        return answers(here);
    }
    /// Copies one archive over another, which then is all that there is.
    void moveOver(char const* from, char const* to) {
        namespace fs = std::filesystem;
        fs::copy(m_tree.path(from), m_tree.dir(to),
                 fs::copy_options::recursive | fs::copy_options::overwrite_existing);
        for (char const* const gone : {from, "root"})
            fs::remove_all(m_tree.path(gone));
        searchOnlyIn(m_tree.path(to));
    }
};

TEST_F(NamesakesInArchives, EachRecordedNameOfEachProfileGetsItsOwnCopy) {
    std::vector<std::string> const east = archive("east");
    std::vector<std::string> const west = archive("west");
    EXPECT_THAT(east, AllOf(SizeIs(4), Not(Contains("")), Ne(west)));
    moveOver("west", "east");
    ProfileResolution const there = resolve(recorded("east"));
    EXPECT_EQ(answers(there), east);
    EXPECT_EQ(there.modules[0].binary->place, Place::archive_name);
    EXPECT_EQ(answers(resolve(recorded("west"))), west);
    Profile turned = recorded("west");
    std::swap(turned.modules[0].name, turned.modules[1].name);
    std::swap(turned.source_files[0], turned.source_files[1]);
    EXPECT_EQ(answers(resolve(turned))[1], west[0]) << "in whatever order";
}

TEST_F(NamesakesInArchives, ASourceIsAskedForEachBuildOfItsModuleInWhateverOrder) {
    auto const recordedOf = [](std::vector<BuildId> const& builds) {
        Profile profile;
        profile.source_files = {"/a/main.c"};
        for (BuildId const& build : builds) {
            profile.modules.push_back(module("/a/tool", build));
            profile.modules.back().source_files = {0};
        }
        return profile;
    };
    auto const archiveSource = [&](std::vector<BuildId> const& builds, char const* content) {
        m_tree.file("root/a/main.c", content);
        EXPECT_THAT(archiveFiles(resolve(recordedOf(builds)), m_tree.path("kept")).errors,
                    IsEmpty());
    };
    BuildId const third{3, 3, 3, 3};
    BuildId const unknown{4, 4, 4, 4};
    archiveSource({c_id, third}, "first");
    archiveSource({c_otherId}, "second");
    std::filesystem::remove_all(m_tree.path("root"));
    searchOnlyIn(m_tree.path("kept"));
    std::vector<BuildId> builds{c_id, third, unknown, c_otherId};
    do {
        std::vector<std::string> found;
        std::vector<std::uint32_t> modules;
        for (SourceResolution const& each : resolve(recordedOf(builds)).sources) {
            found.push_back(each.file.found() ? contentOf(each.file.path) : "");
            modules.insert(modules.end(), each.modules.begin(), each.modules.end());
        }
        EXPECT_THAT(modules, UnorderedElementsAre(0, 1, 2, 3));
        EXPECT_THAT(found, UnorderedElementsAre("first", "second", "")) << "one for each answer";
    } while (std::next_permutation(builds.begin(), builds.end()));
}

TEST_F(NamesakesInArchives, ACopyIsNotGivenForAnotherNameOrWhereNothingTells) {
    archive("east");
    moveOver("east", "kept");
    ProfileResolution const foreign = resolve(recorded("north"));
    EXPECT_THAT(answers(foreign), Each(""));
    for (FileResolution const& each : {*foreign.modules[0].binary, foreign.sources[1].file})
        EXPECT_THAT(rejections(each),
                    ElementsAre(MatchesRegex("svWarning .*for another recorded name.*"), _));

    std::filesystem::remove_all(m_tree.path("kept/names"));
    ProfileResolution const unclear = resolve(recorded("east"));
    EXPECT_THAT(answers(unclear), Each(""));
    for (FileResolution const& each : {*unclear.modules[0].binary, unclear.sources[1].file})
        EXPECT_THAT(rejections(each), Contains(MatchesRegex("svWarning .*holds 2 copies.*")));
}

} // namespace
} // namespace lokata::profile::test
