#include "profile/resolver.h"

#include "profile/profile_archive.h"

#include "elf_builder.h"
#include "temp_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace lokata::profile::test {
namespace {

using LK_2_13::test::contentOf;
using LK_2_13::test::TempTree;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace LK_2_13;

BuildId const c_id{1, 2, 3, 4, 5, 6, 7, 8};
BuildId const c_otherId{9, 9, 9, 9};
char const* const c_release = "6.1.0-lokata-test";

Module module(std::string name, BuildId id = {}, ModuleKind kind = ModuleKind::file) {
    Module result;
    result.name = std::move(name);
    result.build_id = std::move(id);
    result.kind = kind;
    return result;
}

class ResolverTest : public ::testing::Test {
protected:
    ResolverTest() {
        m_options.debug_dirs = {m_tree.path("debug")};
        m_options.sysroot = m_tree.path("root");
    }

    ProfileResolution resolve(std::vector<Module> modules) {
        Profile profile;
        profile.modules = std::move(modules);
        auto const info = IEditableEnvironmentInfo::create();
        info->setKernelRelease(c_release);
        m_environment->setEnvironmentInfo(ObjectPtr<IEnvironmentInfo>(info));
        m_environment->setSearchDirs(ObjectPtr<ISearchDirContainer>(m_dirs));
        m_environment->setArchiveDirs(ObjectPtr<ISearchDirContainer>(m_archives));
        SearchSupport support(m_options);
        Resolver resolver(ObjectPtr<ISearchEnv>(m_environment), support);
        ProfileResolution result = resolver.resolve(std::move(profile), "test");
        resolver.findSources(result);
        return result;
    }
    ModuleResolution resolveOne(Module single) {
        return resolve(std::vector<Module>{std::move(single)}).modules.at(0);
    }
    void searchIn(std::string const& directory) {
        m_dirs->addDirectory(scAllFiles, m_tree.dir(directory).c_str(), true, false);
    }
    std::string binary(std::string const& name, BuildId const& id) const {
        return ElfBuilder().buildId(id).write(m_tree.file(name));
    }
    std::string symbols(std::string const& name, BuildId const& id) const {
        return ElfBuilder().buildId(id).debugInfo().write(m_tree.file(name));
    }

    TempTree m_tree;
    PlaceOptions m_options;
    ObjectPtr<IEditableSearchEnv> m_environment = IEditableSearchEnv::create();
    ObjectPtr<IEditableSearchDirContainer> m_dirs = IEditableSearchDirContainer::create();
    ObjectPtr<IEditableSearchDirContainer> m_archives = IEditableSearchDirContainer::create();
};

TEST_F(ResolverTest, EachKindOfModuleGetsItsTreatment) {
    searchIn("tree");
    std::string const tool = binary("tree/tool", c_id);

    EXPECT_EQ(resolveOne(module("[vdso]", c_id, ModuleKind::vdso)).status,
              ModuleStatus::not_a_file);
    EXPECT_FALSE(resolveOne(module("//anon", {}, ModuleKind::anonymous)).binary);

    ModuleResolution const removed =
        resolveOne(module("/gone/tool (deleted)", c_id, ModuleKind::deleted_file));
    EXPECT_EQ(removed.status, ModuleStatus::resolved);
    EXPECT_EQ(removed.binary->path, tool);
    EXPECT_EQ(
        resolveOne(module("/gone/tool (deleted)", c_otherId, ModuleKind::deleted_file)).status,
        ModuleStatus::missing);

    EXPECT_EQ(resolveOne(module("/gone/tool")).status, ModuleStatus::unproven);
    EXPECT_FALSE(resolveOne(module("/bin/\x1b[31mred")).binary) << "not safe to look up";
}

TEST_F(ResolverTest, NamesOfOtherMachinesCountOnlyWithABuildId) {
    searchIn("tree");
    binary("tree/tool", c_id);
    Module elsewhere = module("/usr/bin/tool");
    elsewhere.mount_namespace = 4026532000;
    for (Module foreign : {elsewhere, module("/usr/bin/tool", {}, ModuleKind::guest_file)}) {
        EXPECT_EQ(resolveOne(foreign).status, ModuleStatus::unsupported) << kindName(foreign.kind);
        foreign.build_id = c_id;
        EXPECT_EQ(resolveOne(foreign).status, ModuleStatus::resolved) << kindName(foreign.kind);
    }
}

TEST_F(ResolverTest, TheKernelIsThatOfTheRecordedRelease) {
    std::string const release(c_release);
    symbols("root/boot/vmlinux-" + release, c_otherId);
    std::string const real = symbols("root/lib/modules/" + release + "/build/vmlinux", c_id);
    ModuleResolution const kernel =
        resolveOne(module("[kernel.kallsyms]", c_id, ModuleKind::kernel));
    ASSERT_EQ(kernel.status, ModuleStatus::resolved);
    EXPECT_EQ(kernel.binary->path, real);
    EXPECT_EQ(kernel.binary->place, "kernel-tree");
    EXPECT_EQ(kernel.symbols->path, real);
    ASSERT_THAT(kernel.binary->refused, SizeIs(1));
    EXPECT_EQ(kernel.binary->refused[0].identity.actual, "09090909");
}

TEST_F(ResolverTest, AKernelModuleIsKnownByBothSpellingsAndRefusedWhilePacked) {
    std::string const modules = std::string("root/lib/modules/") + c_release + "/kernel/";
    std::string const packed = m_tree.file(modules + "a/snd-hda.ko.xz", "\xfd"
                                                                        "7zXZ");
    ModuleResolution missing = resolveOne(module("[snd_hda]", c_id, ModuleKind::kernel_module));
    EXPECT_EQ(missing.status, ModuleStatus::missing);
    ASSERT_THAT(missing.binary->refused, SizeIs(1));
    EXPECT_EQ(missing.binary->refused[0].path, packed);
    EXPECT_THAT(missing.binary->refused[0].message, HasSubstr("xz"));

    std::string const plain = binary(modules + "b/snd-hda.ko", c_id);
    EXPECT_EQ(resolveOne(module("[snd_hda]", c_id, ModuleKind::kernel_module)).binary->path, plain);
}

TEST_F(ResolverTest, EqualModulesGetEqualAnswersAndKeepTheirOwnRecord) {
    searchIn("tree");
    binary("tree/tool", c_id);
    Module first = module("/gone/tool", c_id);
    Module second = first;
    first.samples = 1;
    second.samples = 2;
    auto const modules = resolve({first, second, module("/gone/tool", c_otherId)}).modules;
    ASSERT_THAT(modules, SizeIs(3));
    EXPECT_EQ(modules[1].binary->path, modules[0].binary->path);
    EXPECT_EQ(modules[1].module.samples, 2U);
    EXPECT_EQ(modules[2].status, ModuleStatus::missing);
}

TEST_F(ResolverTest, LearnedPrefixesAreTold) {
    searchIn("tree");
    binary("tree/lib/x.so", c_id);
    ProfileResolution const result = resolve({module("/build/lib/x.so", c_id)});
    ASSERT_THAT(result.learned, SizeIs(1));
    EXPECT_EQ(result.learned[0].from, "/build");
    EXPECT_EQ(result.learned[0].to, m_tree.path("tree"));
}

/// Takes away everything but the archive, as on another machine.
TEST_F(ResolverTest, TheArchiveAloneGivesTheSameAnswers) {
    searchIn("tree");
    binary("tree/bin/plain", c_id);
    BuildId const linkedId{5, 5, 5, 5};
    BuildId const unstrippedId{6, 6, 6, 6};
    binary("debug/.build-id/05/050505", linkedId);
    ElfBuilder()
        .buildId(linkedId)
        .debugInfo()
        .altLink("../../.dwz/shared.debug", c_otherId)
        .write(m_tree.file("debug/.build-id/05/050505.debug"));
    symbols("debug/.dwz/shared.debug", c_otherId);
    symbols("tree/unstripped", unstrippedId);
    symbols(std::string("root/boot/vmlinux-") + c_release, {7, 7, 7, 7});
    symbols("debug/.build-id/01/02030405060708.debug", c_id);
    std::vector<Module> const modules{module("/opt/bin/plain", c_id),
                                      module("/opt/bin/linked", linkedId),
                                      module("/opt/bin/unstripped", unstrippedId),
                                      module("[kernel.kallsyms]", {7, 7, 7, 7}, ModuleKind::kernel),
                                      module("/opt/bin/nowhere", {8, 8, 8, 8})};
    ProfileResolution const here = resolve(modules);

    std::string const archive = m_tree.path("fresh/archive");
    ArchiveOutcome const kept = archiveFiles(here, archive);
    EXPECT_THAT(kept.errors, IsEmpty());
    m_dirs = IEditableSearchDirContainer::create();
    EXPECT_EQ(kept.added, 7U) << "four binaries, two symbol files, one supplementary file";
    EXPECT_EQ(archiveFiles(here, archive).kept, 7U);

    std::vector<std::string> contents;
    for (ModuleResolution const& each : here.modules)
        contents.push_back(contentOf(each.binary->path) + contentOf(each.symbols->path));
    for (char const* const gone : {"tree", "debug", "root"})
        std::filesystem::remove_all(m_tree.path(gone));
    m_archives->addDirectory(scAllFiles, (archive + "/all").c_str(), true, false);
    m_archives->addDirectory(scBinaryFiles, (archive + "/binaries").c_str(), true, false);
    m_archives->addDirectory(scSymbolFiles, (archive + "/symbols").c_str(), true, false);
    ProfileResolution const there = resolve(modules);
    for (std::size_t i = 0; i < modules.size(); ++i) {
        ModuleResolution const& each = there.modules[i];
        EXPECT_EQ(each.status, here.modules[i].status) << modules[i].name;
        EXPECT_EQ(contentOf(each.binary->path) + contentOf(each.symbols->path), contents[i])
            << modules[i].name;
    }
    ASSERT_TRUE(there.modules[1].supplementary);
    EXPECT_TRUE(there.modules[1].supplementary->found());
    EXPECT_FALSE(there.modules[4].binary->found());
}

TEST_F(ResolverTest, SourcesThatTheProfileNamesAreLookedFor) {
    m_options.substitutions = {{"/build", m_tree.path("src")}};
    std::string const source = m_tree.file("src/a.cc", "int a;");
    Profile profile;
    profile.source_files = {"/build/a.cc", "/build/b.cc"};
    profile.modules = {module("/gone/tool", c_id)};
    profile.modules[0].source_files = {0, 1};
    SearchSupport support(m_options);
    Resolver resolver(ObjectPtr<ISearchEnv>(m_environment), support);
    ProfileResolution result = resolver.resolve(std::move(profile), "test");
    resolver.findSources(result);
    ASSERT_THAT(result.sources, SizeIs(2));
    EXPECT_EQ(result.sources[0].file.path, source);
    EXPECT_EQ(result.sources[0].file.place, "substitute-path");
    EXPECT_FALSE(result.sources[1].file.found());
}

} // namespace
} // namespace lokata::profile::test
