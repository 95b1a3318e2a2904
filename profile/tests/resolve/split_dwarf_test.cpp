#include <lokata/profile/resolver.h>

#include "support/search_fixture.h"
#include <lokata/profile/archive.h>

#include <cstdlib>

namespace lokata::profile::test {
namespace {

namespace fs = std::filesystem;
using namespace testing;

/// A program of two units that the compiler of this machine has split.
class SplitDwarfOfAModule : public SearchFixture {
protected:
    SplitDwarfOfAModule() {
        m_tree.file("build/a.cpp", "int b(int); int main(int count, char**) { return b(count); }");
        writeSecond("int b(int x) { return x; }");
    }

    void writeSecond(char const* content) { m_tree.file("build/b.cpp", content); }
    bool run(std::string const& command) {
        return std::system(("cd " + m_tree.path("build") + " && " + command).c_str()) == 0;
    }
    /// The name of a .dwo file is as relative or absolute as the directory of its object.
    void compile(char const* version, std::string const& directory = "") {
        for (std::string const unit : {"a", "b"}) {
            std::string command = std::string(COMPILER) + " -g -gdwarf-" + version;
            command.append(" -gsplit-dwarf -c ").append(unit).append(".cpp -o ");
            ASSERT_TRUE(run(command.append(directory).append(unit).append(".o")));
        }
        ASSERT_TRUE(run(std::string(COMPILER) + " -Wl,--build-id a.o b.o -o app"));
    }
    bool package() { return run("dwp -e app -o app.dwp 2>&1"); }

    ModuleResolution resolve() {
        Profile profile;
        profile.modules.emplace_back().name = m_tree.path("build/app");
        m_last = Resolver(environment(), m_options).resolve(std::move(profile), "test");
        return m_last.modules.at(0);
    }
    /// How many of the units were found, and in what.
    std::string found() {
        ModuleResolution const module = resolve();
        if (!module.split_dwarf)
            return "not split";
        SplitResolution const& split = *module.split_dwarf;
        std::string text =
            std::to_string(split.found_units) + " of " + std::to_string(split.units) + ":";
        auto const add = [&](FileResolution const& file) {
            if (file.found())
                text += " " + fs::path(file.path).filename().string();
            EXPECT_EQ(file.identity.kind, IdentityKind::dwo_id);
        };
        add(split.package);
        for (SplitFile const& each : split.files)
            add(each.file);
        return text;
    }
    std::string reason() { return symbolsReason(resolve()); }

    ProfileResolution m_last;
};

TEST_F(SplitDwarfOfAModule, IsFoundByItsIdsAndToldWhereItIsMissing) {
    for (char const* const version : {"4", "5"}) {
        compile(version, *version == '4' ? m_tree.path("build/") : "");
        EXPECT_EQ(found(), "2 of 2: a.dwo b.dwo");
        EXPECT_EQ(reason(), "");

        fs::rename(m_tree.path("build/b.dwo"), m_tree.path("build/kept"));
        EXPECT_EQ(found(), "1 of 2: a.dwo");
        EXPECT_THAT(reason(), AllOf(StartsWith("1 of 2"), HasSubstr("build/b.dwo")));

        m_options.substitutions = {{m_tree.path("build"), m_tree.path("moved")}};
        m_tree.file("moved/b.dwo", contentOf(m_tree.path("build/a.dwo")));
        EXPECT_EQ(found(), "1 of 2: a.dwo");
        EXPECT_THAT(reason(), HasSubstr("The dwo_id of")) << "of another unit";
        fs::rename(m_tree.path("build/kept"), m_tree.path("moved/b.dwo"));
        EXPECT_EQ(found(), "2 of 2: a.dwo b.dwo");
        EXPECT_EQ(m_last.modules[0].split_dwarf->files[1].file.place, Place::substitute_path);
        m_options.substitutions.clear();
    }
}

TEST_F(SplitDwarfOfAModule, IsFoundWhereItsNeighboursTeach) {
    for (char const* const unit : {"a", "b"})
        ASSERT_TRUE(run(std::string("mkdir of_") + unit + " && " + COMPILER +
                        " -g -gsplit-dwarf -c " + unit + ".cpp -o of_" + unit + "/x.o"));
    ASSERT_TRUE(run(COMPILER + std::string(" of_a/x.o of_b/x.o -o app")));
    m_tree.dir("moved");
    for (char const* const directory : {"of_a", "of_b"})
        fs::rename(m_tree.path(std::string("build/") + directory),
                   m_tree.path(std::string("moved/") + directory));
    searchIn("moved/of_a", false);
    EXPECT_EQ(found(), "2 of 2: x.dwo x.dwo");
    EXPECT_EQ(m_last.modules[0].split_dwarf->files[1].file.place, Place::learned_path);
}

TEST_F(SplitDwarfOfAModule, MayLieInAPackageAndWhatThatLacksBesideIt) {
    compile("4");
    if (!package())
        GTEST_SKIP() << "nothing makes packages here";
    ASSERT_TRUE(run("dwp -o half.dwp a.dwo"));
    for (char const* const unit : {"build/a.dwo", "build/b.dwo"})
        fs::remove(m_tree.path(unit));
    EXPECT_EQ(found(), "2 of 2: app.dwp");
    EXPECT_EQ(m_last.modules[0].split_dwarf->package.place, Place::split_dwarf);
    searchIn("whole");
    ASSERT_TRUE(run("cp app.dwp ../whole && mv app.dwp kept && mv half.dwp app.dwp"));
    EXPECT_EQ(found(), "2 of 2: app.dwp") << "a package with all units lies further away";
    ASSERT_TRUE(run("rm ../whole/app.dwp"));
    EXPECT_EQ(found(), "1 of 2: app.dwp");
    ASSERT_TRUE(run("mv kept app.dwp"));

    writeSecond("int b(int x) { int more = x + 1; return more; }");
    compile("4");
    EXPECT_EQ(found(), "2 of 2: app.dwp b.dwo") << "a package of the build before";
    fs::remove(m_tree.path("build/b.dwo"));
    EXPECT_EQ(found(), "1 of 2: app.dwp");

    m_tree.file("build/a.cpp", "int b(int); int main() { int one = 1; return b(one); }");
    compile("4");
    EXPECT_EQ(found(), "2 of 2: a.dwo b.dwo") << "of two builds before";
    EXPECT_THAT(m_last.modules[0].split_dwarf->package.rejected, SizeIs(1));
}

class SplitDwarfInArchives : public SplitDwarfOfAModule, public WithParamInterface<bool> {};

TEST_P(SplitDwarfInArchives, IsFoundThereWhenAllElseIsGone) {
    bool const isPackaged = GetParam();
    compile(isPackaged ? "4" : "5");
    if (isPackaged && !package())
        GTEST_SKIP() << "nothing makes packages here";
    std::string const here = found();
    EXPECT_EQ(here, isPackaged ? "2 of 2: app.dwp" : "2 of 2: a.dwo b.dwo");
    ArchiveOutcome const outcome = archiveFiles(m_last, m_tree.path("archive"));
    EXPECT_THAT(outcome.errors, IsEmpty());
    EXPECT_EQ(outcome.added, isPackaged ? 2U : 3U);
    fs::remove_all(m_tree.path("build"));
    searchOnlyIn(m_tree.path("archive"));
    EXPECT_EQ(found(), here);
}

INSTANTIATE_TEST_SUITE_P(PackageOrNot, SplitDwarfInArchives, Bool());

} // namespace
} // namespace lokata::profile::test
