#include <lokata/profile/resolver.h>

#include "facts/md5.h"
#include "private_dir.h"
#include "search/module_search.h"
#include "support/inputs.h"
#include "support/search_fixture.h"

#include <toolbelt2/hex.h>

#include <algorithm>
#include <random>

#include <sys/stat.h>

namespace lokata::profile::test {
namespace {

using namespace testing;
using namespace LK_2_13;

BuildId idOf(std::uint16_t number, std::uint8_t kind = 1) {
    return {kind, static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8U), 7};
}

class ScanTest : public SearchFixture {
protected:
    ProfileResolution resolve(std::vector<Module> modules) {
        Profile profile;
        profile.modules = std::move(modules);
        return Resolver(environment(), m_options).resolve(std::move(profile), "test");
    }
    ModuleResolution resolveOne(Module module) {
        return resolve({std::move(module)}).modules.at(0);
    }
    static Module module(std::string name, BuildId id, ModuleKind kind = ModuleKind::file) {
        Module result;
        result.name = std::move(name);
        result.build_id = std::move(id);
        result.kind = kind;
        return result;
    }
    /// A file of a name that nothing recorded leads to.
    std::string anyFile(std::string const& start = "f", std::string const& ending = "") {
        std::string name = "tree";
        for (auto depth = m_random() % 4; depth > 0; --depth)
            name += "/d" + std::to_string(m_random() % 5);
        return m_tree.file(name + "/" + start + std::to_string(m_random()) + ending);
    }
    std::mt19937 m_random{20240229};
    LK_2_13::test::PrivateDir m_private{m_tree.path("private")};
};

TEST_F(ScanTest, ATreeInWhichEveryFileWasRenamedResolvesWholeAndProven) {
    searchIn("tree");
    std::vector<Module> modules;
    for (std::uint16_t i = 0; i < 50; ++i) {
        ElfBuilder().buildId(idOf(i)).write(anyFile());
        ElfBuilder debug;
        debug.buildId(idOf(i)).emptiedCode().debugInfo();
        debug.altLink("/gone/shared.debug", idOf(i % 3, 2)).write(anyFile());
        modules.push_back(module("/usr/lib/lib" + std::to_string(i) + ".so", idOf(i)));
    }
    for (std::uint16_t i = 0; i < 3; ++i)
        ElfBuilder().buildId(idOf(i, 2)).debugInfo().write(anyFile());
    std::string const kernel = contentOf(symbols("k", idOf(0, 3)));
    std::ofstream(anyFile("vmlinuz-")) << "boot sector" << gzip(kernel);
    modules.push_back(module("[kernel.kallsyms]", idOf(0, 3), ModuleKind::kernel));
    std::string const driver = contentOf(symbols("k", idOf(1, 3)));
    std::ofstream(anyFile("f", ".ko.xz")) << xz(driver);
    modules.push_back(module("[ext4]", idOf(1, 3), ModuleKind::kernel_module));

    for (ModuleResolution const& each : resolve(modules).modules) {
        EXPECT_EQ(each.status, ModuleStatus::resolved) << each.module.name;
        EXPECT_EQ(each.level, SymbolLevel::lines) << each.module.name;
        EXPECT_TRUE(isLevelProven(each)) << each.module.name;
        EXPECT_EQ(each.binary->place, Place::build_id_scan) << each.module.name;
        EXPECT_TRUE(!each.supplementary || each.supplementary->found()) << each.module.name;
    }
    m_options.scan.is_on = false;
    for (ModuleResolution const& each : resolve(modules).modules)
        EXPECT_EQ(each.status, ModuleStatus::missing) << each.module.name;
}

TEST_F(ScanTest, TheFirstByDirectoryAndThenByPathIsTheAnswer) {
    Module const wanted = module("/usr/bin/tool", c_id);
    auto const answer = [&] { return foundAt(*resolveOne(wanted).binary); };
    searchIn("b");
    searchIn("flat", false);
    m_options.scan.dirs = {m_tree.dir("c"), m_tree.path("b"), m_tree.path("missing")};
    binary("flat/below/x", c_id);
    binary("c/x", c_otherId);
    EXPECT_EQ(answer(), "");
    std::string const prefix = "build-id-scan " + m_tree.path("");
    for (char const* const better : {"c/y", "c/B/z", "b/y/z", "b/y/a/z", "b/x"}) {
        binary(better, c_id);
        EXPECT_EQ(answer(), prefix + better);
    }
    ElfBuilder().buildId(c_id).emptiedCode().debugInfo().write(m_tree.file("b/a"));
    EXPECT_EQ(answer(), prefix + "b/x") << "judged as all others are";
    EXPECT_THAT(foundAt(*resolveOne(wanted).symbols), prefix + "b/a");
    binary("b/tool", c_id);
    EXPECT_EQ(answer(), "search-step " + m_tree.path("b/tool"));
}

TEST_F(ScanTest, LinksAndWhatIsNoFileDoNoHarm) {
    searchIn("tree");
    m_tree.link("tree/loop", m_tree.path("tree"));
    m_tree.link("tree/a-dangling", "nowhere");
    m_tree.link("tree/a-file", m_tree.path("tree/z/file"));
    ASSERT_EQ(::mkfifo(m_tree.path("tree/pipe").c_str(), 0600), 0);
    m_tree.file("tree/short", "\177ELF");
    m_tree.file("tree/cut", contentOf(binary("whole", c_id)).substr(0, 100));
    EXPECT_FALSE(resolveOne(module("/bin/tool", c_id)).binary->found());
    std::string const elsewhere = binary("other/sub/file", c_id);
    m_tree.link("tree/b-linked", m_tree.path("other"));
    EXPECT_EQ(foundAt(*resolveOne(module("/bin/tool", c_id)).binary),
              "build-id-scan " + m_tree.path("tree/b-linked/sub/file"));
    std::string const file = binary("tree/z/file", c_id);
    std::filesystem::create_hard_link(file, m_tree.path("tree/z/same"));
    ElfBuilder().buildId(c_otherId).write(m_tree.file("tree/z/other"));
    EXPECT_EQ(foundAt(*resolveOne(module("/bin/tool", c_id)).binary),
              "build-id-scan " + m_tree.path("tree/b-linked/sub/file"));
    EXPECT_THAT(resolveOne(module("/bin/tool", c_id)).symbols->rejected, SizeIs(2))
        << "a file with two names is one";
}

TEST_F(ScanTest, SourcesAreFoundByTheirMd5) {
    auto const content = [](std::string const& text) {
        auto const digest = toolbelt2::from_hex(textMd5(text));
        SourceFile file{"/build/src/main.c", {}};
        std::copy(digest->begin(), digest->end(), file.identity.md5.emplace().begin());
        return file;
    };
    m_dirs->addDirectory(scSourceFiles, m_tree.dir("src").c_str(), true, false);
    m_tree.file("src/b/renamed.cpp", "right");
    m_tree.file("src/a/notes.txt", "right");
    auto const answer = [&](std::string const& text) {
        SourceFile const source = content(text);
        SearchSupport support(m_options);
        ModuleSearch search(environment(), support);
        WantedSource wanted;
        wanted.file = source;
        FileResolution file = search.findSource(wanted);
        if (!file.found())
            search.trySource(wanted, search.scannedSources(source), file);
        return foundAt(file);
    };
    EXPECT_EQ(answer("right"), "md5-scan " + m_tree.path("src/b/renamed.cpp"));
    EXPECT_EQ(answer("wrong"), "");
    m_tree.file("src/a/main.c", "wrong");
    m_tree.file("src/c/main.c", "right");
    EXPECT_EQ(answer("right"), "search-step " + m_tree.path("src/c/main.c"));
}

} // namespace
} // namespace lokata::profile::test
