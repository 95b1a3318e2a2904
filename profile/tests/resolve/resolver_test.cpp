#include <lokata/profile/resolver.h>

#include "private_dir.h"
#include "support/inputs.h"
#include "support/search_fixture.h"
#include <lokata/profile/archive.h>
#include <lokata/profile/process.h>
#include <lokata/profile/report.h>

#include <algorithm>
#include <sstream>
#include <string_view>

namespace lokata::profile::test {
namespace {

using namespace testing;
using namespace LK_2_13;

std::string const c_release = "6.1.0-lokata-test";

Module module(std::string name, BuildId id = {}, ModuleKind kind = ModuleKind::file) {
    Module result;
    result.name = std::move(name);
    result.build_id = std::move(id);
    result.kind = kind;
    return result;
}

class ResolverTest : public SearchFixture {
protected:
    ResolverTest() {
        m_options.sysroot = m_tree.path("root");
        auto const info = IEditableEnvironmentInfo::create();
        info->setKernelRelease(c_release.c_str());
        m_environment->setEnvironmentInfo(ObjectPtr<IEnvironmentInfo>(info));
    }

    /// Every question of these tests is asked on one thread and on several.
    ProfileResolution resolve(Profile const& profile) {
        ProfileResolution result = resolveOn(1, profile);
        EXPECT_EQ(timeless(resolveOn(3, profile)), timeless(result));
        return result;
    }
    ProfileResolution resolve(std::vector<Module> modules) {
        Profile profile;
        profile.modules = std::move(modules);
        return resolve(profile);
    }
    ModuleResolution resolveOne(Module single) {
        return resolve(std::vector<Module>{std::move(single)}).modules.at(0);
    }

private:
    ProfileResolution resolveOn(std::size_t threads, Profile profile) {
        Resolver resolver(environment(), m_options);
        resolver.setThreads(threads);
        ProfileResolution result = resolver.resolve(std::move(profile), "test");
        resolver.findSources(result);
        return result;
    }
    /// The document without the times that its searches took.
    static std::string timeless(ProfileResolution const& resolution) {
        constexpr std::string_view c_time = "\"elapsed_us\":";
        std::ostringstream document;
        writeJson(document, resolution);
        std::string text = document.str();
        for (std::size_t at = text.find(c_time); at != std::string::npos;
             at = text.find(c_time, at + 1))
            text.erase(at + c_time.size(), text.find_first_of(",}", at) - at - c_time.size());
        return text;
    }
};

TEST_F(ResolverTest, EachKindOfModuleGetsItsTreatment) {
    m_options.scan.is_on = false;
    searchIn("tree");
    std::string const tool = binary("tree/tool", c_id);
    EXPECT_EQ(resolveOne(module("[vdso]", c_id, ModuleKind::vdso)).status,
              ModuleStatus::not_a_file);
    EXPECT_FALSE(resolveOne(module("//anon", {}, ModuleKind::anonymous)).binary);
    EXPECT_FALSE(resolveOne(module("/bin/\x1b[31mred")).binary) << "not safe to look up";
    EXPECT_EQ(resolveOne(module("/gone/tool")).status, ModuleStatus::unproven);

    Module removed = module("/gone/tool (deleted)", c_id, ModuleKind::deleted_file);
    EXPECT_EQ(resolveOne(removed).status, ModuleStatus::resolved);
    EXPECT_EQ(resolveOne(removed).binary->path, tool);
    EXPECT_EQ(resolveOne(module("/gone/tool (deleted)", c_id)).status, ModuleStatus::missing)
        << "so called and not removed";
    removed.build_id = c_otherId;
    EXPECT_EQ(resolveOne(removed).status, ModuleStatus::missing);
}

TEST_F(ResolverTest, WhatGivesMostNamesIsTakenOnlyWhereNoDebugInformationIs) {
    searchIn("tree");
    auto const answer = [&] {
        ModuleResolution const result = resolveOne(module("/gone/tool", c_id));
        return std::string(wordOf(c_symbolLevels, result.level)) + " " +
               (result.symbols->found() ? result.symbols->path.substr(m_tree.path("").size())
                                        : "nothing") +
               (isLevelProven(result) ? "" : "?");
    };
    binary("tree/tool", c_id);
    EXPECT_EQ(answer(), "none nothing?");
    auto const exporting = [](BuildId const& id) {
        return ElfBuilder().buildId(id).symbols(SHT_DYNSYM, STT_FUNC, 1);
    };
    exporting(c_id).write(m_tree.path("tree/tool"));
    EXPECT_EQ(answer(), "exports tree/tool");
    EXPECT_EQ(resolveOne(module("/gone/tool", c_id)).symbols->place, Place::binary_itself);
    ElfBuilder().buildId(c_otherId).symbolTable().write(m_tree.file("tree/a/tool"));
    EXPECT_EQ(answer(), "exports tree/tool") << "names of another build are none";
    ElfBuilder().buildId(c_id).symbolTable().write(m_tree.file("tree/b/tool"));
    EXPECT_EQ(answer(), "names tree/b/tool") << "they come behind";
    ElfBuilder().buildId(c_id).debugInfoWithoutLines().write(m_tree.file("tree/c/tool.debug"));
    EXPECT_EQ(answer(), "none tree/c/tool.debug?") << "debug information need not tell lines";
    symbols("tree/c/tool.debug", c_id);
    EXPECT_EQ(answer(), "lines tree/c/tool.debug");

    exporting({}).write(m_tree.file("tree/other"));
    ModuleResolution const unproven = resolveOne(module("/gone/other"));
    EXPECT_EQ(unproven.level, SymbolLevel::exports);
    EXPECT_FALSE(isLevelProven(unproven)) << "not more than its binary";
}

TEST_F(ResolverTest, NamesOfOtherMachinesCountOnlyWithABuildId) {
    searchIn("tree");
    binary("tree/tool", c_id);
    Module elsewhere = module("/usr/bin/tool");
    elsewhere.mount_namespace = 4026532000;
    for (Module foreign : {elsewhere, module("/usr/bin/tool", {}, ModuleKind::guest_file)}) {
        EXPECT_EQ(resolveOne(foreign).status, ModuleStatus::unsupported)
            << wordOf(c_moduleKinds, foreign.kind);
        foreign.build_id = c_id;
        EXPECT_EQ(resolveOne(foreign).status, ModuleStatus::resolved)
            << wordOf(c_moduleKinds, foreign.kind);
    }
}

TEST_F(ResolverTest, ACopyOfTheVdsoIsTakenByItsBuildId) {
    std::string const copy = symbols("root/lib/modules/" + c_release + "/vdso/vdso64.so", c_id);
    ModuleResolution const vdso = resolveOne(module("[vdso]", c_id, ModuleKind::vdso));
    EXPECT_EQ(vdso.status, ModuleStatus::resolved);
    EXPECT_EQ(vdso.binary->path, copy);
    EXPECT_EQ(resolveOne(module("[vdso]", c_otherId, ModuleKind::vdso)).status,
              ModuleStatus::not_a_file);

    LK_2_13::test::PrivateDir const privateDir(m_tree.path("private"));
    for (Module const& mapped : readProcess(static_cast<std::uint32_t>(::getpid())).modules)
        if (mapped.kind == ModuleKind::vdso) {
            ASSERT_FALSE(mapped.build_id.empty());
            ModuleResolution const running = resolveOne(mapped);
            EXPECT_EQ(running.status, ModuleStatus::resolved) << "the running kernel has it";
            std::ofstream(running.binary->path) << "cut";
            EXPECT_EQ(resolveOne(mapped).status, ModuleStatus::resolved) << "and gives it again";
        }
}

TEST_F(ResolverTest, TheKernelIsThatOfTheRecordedRelease) {
    symbols("root/boot/vmlinux-" + c_release, c_otherId);
    std::string const real = symbols("root/lib/modules/" + c_release + "/build/vmlinux", c_id);
    ModuleResolution const kernel =
        resolveOne(module("[kernel.kallsyms]", c_id, ModuleKind::kernel));
    ASSERT_EQ(kernel.status, ModuleStatus::resolved);
    EXPECT_EQ(foundAt(*kernel.binary), "kernel-tree " + real);
    EXPECT_EQ(kernel.symbols->path, real);
    EXPECT_THAT(rejections(*kernel.binary), ElementsAre(MatchesRegex("svError .* 09090909: .*")));
}

TEST_F(ResolverTest, AKernelImageIsWhatIsInIt) {
    LK_2_13::test::PrivateDir const privateDir(m_tree.path("private"));
    auto const packed = [&](std::string const& name, BuildId const& id) {
        std::string const kernel = contentOf(ElfBuilder().buildId(id).write(m_tree.file("kernel")));
        return m_tree.file(name, "boot sector" + gzip(kernel));
    };
    searchIn("decoys");
    Module const kernel = module("[kernel.kallsyms]", c_id, ModuleKind::kernel);
    packed("root/boot/vmlinuz-" + c_release, c_otherId);
    ModuleResolution const missing = resolveOne(kernel);
    EXPECT_EQ(missing.status, ModuleStatus::missing);
    EXPECT_THAT(rejections(*missing.binary), ElementsAre(MatchesRegex("svError .* 09090909: .*")));

    packed("root/boot/vmlinuz-" + c_release, c_id);
    ModuleResolution const found = resolveOne(kernel);
    EXPECT_EQ(found.status, ModuleStatus::resolved);
    EXPECT_THAT(foundAt(*found.binary),
                StartsWith("kernel-tree " + m_tree.path("private/vmlinux_cache")));
    std::string const copy = found.binary->path;

    std::string const whole = contentOf(copy);
    std::string otherKernel = contentOf(ElfBuilder().buildId(c_otherId).write(m_tree.file("k")));
    for (std::string const& wrong : {whole.substr(0, whole.size() / 2), whole + "1", otherKernel}) {
        std::ofstream(copy) << wrong;
        EXPECT_EQ(resolveOne(kernel).status, ModuleStatus::resolved);
        EXPECT_EQ(contentOf(copy), whole) << "made anew";
    }
    std::filesystem::remove(copy + ".md5");
    std::ofstream(copy) << whole + "1";
    EXPECT_EQ(resolveOne(module("[kernel.kallsyms]", {}, ModuleKind::kernel)).binary->path, copy);
    EXPECT_EQ(contentOf(copy), whole) << "somebody else's, of which nothing was noted";

    std::string const plain = binary("root/boot/vmlinuz-" + c_release, c_id);
    EXPECT_EQ(resolveOne(kernel).binary->path, plain);
}

TEST_F(ResolverTest, AKernelImageOfAnotherNameIsToldByItsHeader) {
    LK_2_13::test::PrivateDir const privateDir(m_tree.path("private"));
    std::string const payload = zstd(contentOf(symbols("kernel", c_id)));
    Bytes image;
    image.raw(std::string_view("MZ\0\0zimg", 8)).u32(0x200).u32(payload.size()).padTo(0x200);
    std::string const packed = m_tree.file("bzImage", image.raw(payload).content());
    ModuleResolution const kernel = resolveOne(module(packed, c_id, ModuleKind::kernel));
    ASSERT_EQ(kernel.status, ModuleStatus::resolved);
    EXPECT_EQ(*kernel.binary->unpacked_from, packed);
    EXPECT_EQ(kernel.symbols->path, kernel.binary->path);
    EXPECT_EQ(kernel.level, SymbolLevel::lines);
}

TEST_F(ResolverTest, AKernelModuleIsKnownByBothSpellingsAndIsWhatIsPackedInIt) {
    LK_2_13::test::PrivateDir const privateDir(m_tree.path("private"));
    std::string const modules = "root/usr/lib/modules/" + c_release + "/kernel/a/snd-hda.ko";
    std::string const content =
        contentOf(ElfBuilder().buildId(c_id).symbolTable().write(m_tree.file("snd-hda.ko"))) +
        "~Module signature appended~\n";
    Module const recorded = module("[snd_hda]", c_id, ModuleKind::kernel_module);
    std::pair<char const*, std::string (*)(std::string_view)> const packers[]{
        {".gz", gzip}, {".xz", xz}, {".zst", zstd}};
    for (auto const& [ending, pack] : packers) {
        std::string const packed = m_tree.file(modules + ending, pack(content));
        ModuleResolution const found = resolveOne(recorded);
        ASSERT_EQ(found.status, ModuleStatus::resolved) << ending;
        EXPECT_THAT(foundAt(*found.binary),
                    MatchesRegex("kernel-tree " + m_tree.path("private/vmlinux_cache/") +
                                 "[0-9a-f]+/snd-hda.ko"));
        EXPECT_EQ(*found.binary->unpacked_from, packed);
        EXPECT_EQ(found.level, SymbolLevel::names);
        EXPECT_TRUE(isLevelProven(found));

        std::string const copy = found.binary->path;
        std::ofstream(copy) << content.substr(1);
        EXPECT_EQ(resolveOne(recorded).binary->path, copy);
        EXPECT_EQ(contentOf(copy), content) << "made anew";
        auto const written = std::filesystem::last_write_time(copy);
        EXPECT_EQ(resolveOne(module(packed, c_id)).binary->path, copy);
        EXPECT_EQ(std::filesystem::last_write_time(copy), written) << "once is enough";

        std::string const damaged = m_tree.file(modules + ending, pack(content).substr(0, 60));
        EXPECT_THAT(rejections(*resolveOne(recorded).binary),
                    ElementsAre(AllOf(StartsWith("svError " + damaged + " : "),
                                      ContainsRegex("cannot unpack .*cut short"))));
        std::filesystem::remove(packed);
    }
    m_tree.file(modules + ".xz", xz("no module"));
    EXPECT_EQ(resolveOne(recorded).status, ModuleStatus::missing);
    std::string const plain = binary(modules, c_id);
    EXPECT_EQ(resolveOne(recorded).binary->path, plain);
}

TEST_F(ResolverTest, TheDebugFileOfAKernelModuleLiesBelowADebugDirectory) {
    std::string const file = "/lib/modules/" + c_release + "/kernel/a/snd-hda.ko";
    binary("root" + file, c_id);
    ElfBuilder debug;
    debug.buildId(c_id).emptiedCode().debugInfo().write(m_tree.file("debug" + file + ".debug"));
    ModuleResolution const found = resolveOne(module("[snd_hda]", c_id, ModuleKind::kernel_module));
    EXPECT_EQ(foundAt(*found.symbols), "kernel-tree " + m_tree.path("debug" + file + ".debug"));
}

TEST_F(ResolverTest, TheOwnerOfAModuleWithoutSymbolsTellsWhereTheyAre) {
    m_tree.link("root/lib", "usr/lib");
    std::string const lists = "root/var/lib/dpkg/info/";
    m_tree.file(lists + "libx1:amd64.list", "/.\n/usr/lib/x.so.1.2\n/usr/bin/x\n");
    m_tree.file(lists + "liby.list", "/lib/y.so\n");
    m_tree.file(lists + "liby-dbg.list", "/usr\n");
    m_tree.file(lists + "linux-image-1-unsigned.list", "/lib/z.ko\n");
    m_tree.link("root/usr/lib/x.so", "x.so.1.2");
    for (char const* const file : {"x.so.1.2", "y.so", "z.ko", "own.so"})
        binary(std::string("root/usr/lib/") + file, c_id);
    symbols("root/usr/bin/x", c_id);
    auto const helpFor = [&](char const* name) {
        ModuleResolution const result = resolveOne(module(name, c_id));
        return result.package ? result.package->name + " " + result.package->debug_name
                              : symbolsHelp(result);
    };
    EXPECT_EQ(helpFor("/usr/lib/x.so.1.2"), "libx1 libx1-dbgsym");
    EXPECT_EQ(helpFor("/lib/x.so"), "libx1 libx1-dbgsym") << "by way of two links";
    EXPECT_EQ(helpFor("/lib/y.so"), "liby liby-dbg");
    EXPECT_EQ(helpFor("/lib/z.ko"), "linux-image-1-unsigned linux-image-1-dbg");
    for (char const* const name : {"/lib/own.so", "/gone"})
        EXPECT_THAT(helpFor(name), HasSubstr("0102030405060708"));
    EXPECT_EQ(helpFor("/usr/bin/x"), "");
}

TEST_F(ResolverTest, EqualModulesGetEqualAnswersAndKeepTheirOwnRecord) {
    searchIn("tree");
    binary("tree/tool", c_id);
    Module second = module("/gone/tool", c_id);
    second.samples = 2;
    auto const modules =
        resolve({module("/gone/tool", c_id), second, module("/gone/tool", c_otherId)}).modules;
    EXPECT_EQ(modules[1].binary->path, modules[0].binary->path);
    EXPECT_EQ(modules[1].module.samples, 2U);
    EXPECT_EQ(modules[2].status, ModuleStatus::missing);
}

TEST_F(ResolverTest, WhatProvenFilesTeachFindsTheMissingInAnyOrder) {
    searchIn("tree/lib", false);
    binary("tree/lib/x.so", c_id);
    std::string const next = binary("tree/plugins/y.so", c_otherId);
    std::vector<Module> modules{module("/build/plugins/y.so", c_otherId),
                                module("/build/lib/x.so", c_id)};
    for (int order = 0; order < 2; ++order) {
        ProfileResolution const result = resolve(modules);
        EXPECT_EQ(foundAt(*result.modules.at(static_cast<std::size_t>(order)).binary),
                  "learned-path " + next);
        ASSERT_THAT(result.learned, SizeIs(1));
        EXPECT_EQ(result.learned[0].from + " " + result.learned[0].to,
                  "/build " + m_tree.path("tree"));
        std::reverse(modules.begin(), modules.end());
    }
    for (Module& each : modules)
        each.build_id.clear();
    EXPECT_THAT(resolve(modules).learned, IsEmpty()) << "nothing was proven";
}

/// Takes away everything but the archive, as on another machine.
TEST_F(ResolverTest, TheArchiveAloneGivesTheSameAnswers) {
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
class NamesakesInArchives : public ResolverTest {
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

TEST_F(ResolverTest, SourcesThatTheProfileNamesAreLookedFor) {
    m_options.substitutions = {{"/build", m_tree.path("src")}};
    std::string const source = m_tree.file("src/a.cc", "int a;");
    Profile profile;
    profile.source_files = {"/build/sub/../a.cc", "/build/b.cc"};
    profile.modules = {module("/gone/tool", c_id)};
    profile.modules[0].source_files = {0, 1};
    ProfileResolution const result = resolve(profile);
    ASSERT_THAT(result.sources, SizeIs(2));
    EXPECT_EQ(foundAt(result.sources[0].file), "substitute-path " + source);
    EXPECT_FALSE(result.sources[1].file.found());

    std::ofstream(source) << "int changed;";
    EXPECT_THAT(archiveFiles(result, m_tree.path("archive")).errors,
                ElementsAre(HasSubstr("changed")));
    EXPECT_FALSE(std::filesystem::exists(m_tree.path("archive"))) << "another file than was judged";
}

} // namespace
} // namespace lokata::profile::test
