#include <lokata/profile/resolver.h>

#include "private_dir.h"
#include "support/inputs.h"
#include "support/resolver_fixture.h"

#include <lokata/profile/archive.h>
#include <lokata/profile/process.h>

#include <algorithm>
#include <fstream>

#include <unistd.h>

namespace lokata::profile::test {
namespace {

using namespace testing;
using namespace LK_2_13;

using ResolverTest = ResolverFixture;

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
