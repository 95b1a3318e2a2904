#include "profile/module_search.h"

#include "elf_builder.h"
#include "temp_tree.h"
#include "unprivileged.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

namespace lokata::profile::test {
namespace {

using LK_2_13::test::TempTree;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using namespace LK_2_13;

BuildId const c_id{1, 2, 3, 4, 5, 6, 7, 8};
BuildId const c_otherId{9, 9, 9, 9};

class ModuleSearchTest : public ::testing::Test {
protected:
    ModuleSearchTest() {
        m_options.debug_dirs = {m_tree.path("debug")};
        m_environment->setSearchDirs(ObjectPtr<ISearchDirContainer>(m_dirs));
    }

    void searchIn(char const* directory, bool recursive = true, bool priority = false) {
        m_dirs->addDirectory(scAllFiles, m_tree.dir(directory).c_str(), recursive, priority);
    }
    SearchSupport& support() {
        if (!m_support)
            m_support = std::make_unique<SearchSupport>(m_options);
        return *m_support;
    }
    ObjectPtr<ISearchEnv> environment() { return m_environment; }

    std::string binary(std::string const& name, BuildId const& id) {
        return ElfBuilder().buildId(id).write(m_tree.file(name));
    }
    std::string symbols(std::string const& name, BuildId const& id) {
        return ElfBuilder().buildId(id).debugInfo().write(m_tree.file(name));
    }

    TempTree m_tree;
    PlaceOptions m_options;
    ObjectPtr<IEditableSearchEnv> m_environment = IEditableSearchEnv::create();
    ObjectPtr<IEditableSearchDirContainer> m_dirs = IEditableSearchDirContainer::create();
    std::unique_ptr<SearchSupport> m_support;
};

TEST_F(ModuleSearchTest, AMovedBinaryIsProvenAndItsRebuiltNamesakeRefused) {
    searchIn("first");
    searchIn("second");
    std::string const rebuilt = binary("first/deep/tool", c_otherId);
    std::string const moved = binary("second/tool", c_id);

    SearchOutcome const outcome =
        ModuleSearch(environment(), support()).findBinary("/gone/bin/tool", c_id);
    ASSERT_TRUE(outcome.file);
    EXPECT_EQ(outcome.file->path, moved);
    EXPECT_EQ(outcome.file->confidence, cfValidated);
    EXPECT_EQ(outcome.file->step, ssLowPrioritySearchDirs);
    EXPECT_EQ(outcome.file->identity.actual, "0102030405060708");
    ASSERT_THAT(outcome.rejected, SizeIs(1));
    EXPECT_EQ(outcome.rejected[0].path, rebuilt);
    EXPECT_EQ(outcome.rejected[0].identity.actual, "09090909");
    EXPECT_THAT(outcome.rejected[0].message, HasSubstr("0102030405060708"));
}

TEST_F(ModuleSearchTest, ACopyByBuildIdComesBehindTheSearchDirectories) {
    searchIn("first");
    std::string const rebuilt = binary("first/tool", c_otherId);
    std::string const copy = binary("debug/.build-id/01/02030405060708", c_id);
    SearchOutcome const stored =
        ModuleSearch(environment(), support()).findBinary("/gone/tool", c_id);
    EXPECT_EQ(stored.file->path, copy);
    EXPECT_EQ(stored.file->place, Place::build_id_tree);
    ASSERT_THAT(stored.rejected, SizeIs(1));
    EXPECT_EQ(stored.rejected[0].path, rebuilt);

    std::string const moved = binary("first/deep/tool", c_id);
    EXPECT_EQ(
        ModuleSearch(environment(), support(), false).findBinary("/gone/tool", c_id).file->path,
        moved);
}

TEST_F(ModuleSearchTest, ARemapOfOneHitFindsTheNextNameOfThePrefix) {
    searchIn("tree", false);
    binary("tree/lib/x.so", c_id);
    std::string const next = binary("tree/plugins/y.so", c_otherId);

    ModuleSearch search(environment(), support());
    SearchOutcome const first = search.findBinary("/build/lib/x.so", c_id);
    ASSERT_TRUE(first.learned);
    EXPECT_EQ(first.learned->from, "/build");
    EXPECT_EQ(first.learned->to, m_tree.path("tree"));

    SearchOutcome const second = search.findBinary("/build/plugins/y.so", c_otherId);
    ASSERT_TRUE(second.file);
    EXPECT_EQ(second.file->path, next);
    EXPECT_EQ(second.file->place, Place::learned_path);
    EXPECT_FALSE(second.learned);
}

TEST_F(ModuleSearchTest, AStrippedNamesakeNeverHidesTheSymbolFile) {
    searchIn("sym");
    std::string const stripped = binary("bin/tool", c_id);
    binary("debug/.build-id/01/02030405060708.debug", c_id);
    binary("sym/a/tool.debug", c_id);
    std::string const real = symbols("sym/b/tool.debug", c_id);

    SearchOutcome const outcome =
        ModuleSearch(environment(), support()).findSymbols("/usr/bin/tool", stripped, {});
    ASSERT_TRUE(outcome.file);
    EXPECT_EQ(outcome.file->path, real);
    EXPECT_GE(outcome.rejected.size(), 2U);
    for (RejectedFile const& refused : outcome.rejected)
        EXPECT_THAT(refused.message, HasSubstr("no debug information"));
}

TEST_F(ModuleSearchTest, SymbolsOutOfTheCacheOfPerfComeLast) {
    m_options.perf_cache = m_tree.path("cache");
    searchIn("sym");
    std::string const copy = symbols("cache/.build-id/01/02030405060708/elf", c_id);
    SearchOutcome const stored =
        ModuleSearch(environment(), support()).findSymbols("/usr/bin/tool", "", c_id);
    ASSERT_TRUE(stored.file);
    EXPECT_EQ(stored.file->path, copy);
    EXPECT_EQ(stored.file->place, Place::perf_cache);

    std::string const real = symbols("sym/tool.debug", c_id);
    ModuleSearch search(environment(), support(), false);
    EXPECT_EQ(search.findSymbols("/usr/bin/tool", "", c_id).file->path, real);
}

TEST_F(ModuleSearchTest, SymbolsNeedNoBinaryWhereTheBuildIdIsRecorded) {
    std::string const real = symbols("debug/.build-id/01/02030405060708.debug", c_id);
    SearchOutcome const outcome =
        ModuleSearch(environment(), support()).findSymbols("/usr/bin/tool", "", c_id);
    ASSERT_TRUE(outcome.file);
    EXPECT_EQ(outcome.file->path, real);
    EXPECT_EQ(outcome.file->place, Place::build_id_tree);
}

TEST_F(ModuleSearchTest, ASupplementaryFileIsFoundThroughItsLink) {
    std::string const shared = symbols("debug/.dwz/shared.debug", c_otherId);
    std::string const linking = ElfBuilder()
                                    .debugInfo()
                                    .altLink("../.dwz/shared.debug", c_otherId)
                                    .write(m_tree.file("debug/bin/tool.debug"));
    ModuleSearch search(environment(), support());
    std::optional<SearchOutcome> const outcome = search.findSupplementary(linking);
    ASSERT_TRUE(outcome && outcome->file);
    EXPECT_EQ(outcome->file->path, shared);
    EXPECT_FALSE(search.findSupplementary(shared));
}

TEST_F(ModuleSearchTest, ASourceIsFoundUnderItsSubstitutedName) {
    m_options.substitutions = {{"/build", m_tree.path("src")}};
    std::string const source = m_tree.file("src/a.c", "abc");
    SourceFile wanted{"/build/sub/../a.c", {}};
    wanted.identity.size = 3;
    SearchOutcome const outcome =
        ModuleSearch(environment(), support()).findSource(wanted, "/bin/tool");
    ASSERT_TRUE(outcome.file);
    EXPECT_EQ(outcome.file->path, source);
    EXPECT_EQ(outcome.file->place, Place::substitute_path);
    EXPECT_EQ(outcome.file->identity.kind, IdentityKind::time_and_size);
}

TEST_F(ModuleSearchTest, AnUnsafeNameIsSearchedByItsBuildIdAlone) {
    std::string const real = binary("debug/.build-id/01/02030405060708", c_id);
    ModuleSearch search(environment(), support());
    SearchOutcome const outcome = search.findBinary("/bin/a\nb", c_id);
    ASSERT_TRUE(outcome.file);
    EXPECT_EQ(outcome.file->path, real);
    EXPECT_FALSE(search.findBinary("/bin/a\nb", {}).file);
}

/// Suggests a file for binaries and lets no step run for symbols.
class ClientCallbacks final : public ISearchStartedCallback {
public:
    explicit ClientCallbacks(std::string suggestion) : m_suggestion(std::move(suggestion)) {}
    ~ClientCallbacks() override { disconnectHandlers(); }

    bool binFileSearchStarted(char const* /*fileName*/, IStringContainer& suggestions) override {
        suggestions.add(m_suggestion.c_str());
        return true;
    }
    bool symFileSearchStarted(char const* /*fileName*/, char const* /*binaryName*/,
                              char const* /*checksum*/,
                              IStringContainer& /*suggestions*/) override {
        return false;
    }
    bool srcFileSearchStarted(char const* /*fileName*/, char const* /*binaryName*/,
                              char const* /*checksum*/,
                              IStringContainer& /*suggestions*/) override {
        return true;
    }

private:
    std::string m_suggestion;
};

TEST_F(ModuleSearchTest, TheCallbacksOfTheEnvironmentComeFirst) {
    std::string const suggested = binary("elsewhere/x", c_id);
    binary("debug/.build-id/01/02030405060708", c_id);
    searchIn("sym");
    symbols("sym/tool.debug", c_id);
    ClientCallbacks client(suggested);
    m_environment->setSearchStartedCallback(CallbackHolder<ISearchStartedCallback>(&client));

    ModuleSearch search(environment(), support());
    EXPECT_EQ(search.findBinary("/bin/tool", c_id).file->path, suggested);
    EXPECT_FALSE(search.findSymbols("/bin/tool", "", c_id).file) << "no step may run";
}

std::vector<std::string> describe(SearchOutcome const& outcome) {
    std::vector<std::string> result{outcome.file ? outcome.file->path : "nothing"};
    result.push_back(std::to_string(outcome.file ? outcome.file->step : ssAskUser));
    for (RejectedFile const& refused : outcome.rejected)
        result.push_back(refused.path + " " + refused.message);
    return result;
}

/// Random trees of few names, so that every name has many namesakes, with links across and upwards.
class RandomTrees {
public:
    explicit RandomTrees(TempTree const& tree, unsigned seed) : m_tree(tree), m_random(seed) {}

    std::string makeDirectory() {
        std::string path = "root" + std::to_string(pick(3));
        for (unsigned depth = pick(4); depth > 0; --depth)
            path += "/" + part();
        m_directories.push_back(m_tree.dir(path));
        return m_directories.back();
    }
    void fill() {
        std::string const place = makeDirectory() + "/";
        std::string const name = place + std::string(1, "xyz"[pick(3)]);
        switch (pick(6)) {
        case 0:
            symlink(m_directories[pick(m_directories.size())].c_str(), (place + part()).c_str());
            break;
        case 1:
            symlink("loop", (place + "loop").c_str());
            break;
        case 2:
            mkdir(name.c_str(), 0755);
            break;
        default:
            if (!std::filesystem::exists(name))
                ElfBuilder().buildId(pick(2) == 0 ? c_id : c_otherId).write(name);
        }
    }
    std::string name() {
        std::string result = pick(3) == 0 ? "" : "/";
        for (unsigned depth = pick(3); depth > 0; --depth)
            result += part() + "/";
        return result + "xyz"[pick(3)];
    }
    std::string directory() { return m_directories[pick(m_directories.size())]; }
    unsigned pick(std::size_t count) { return static_cast<unsigned>(m_random() % count); }

private:
    std::string part() { return {"abc"[pick(3)]}; }

    TempTree const& m_tree;
    std::mt19937 m_random;
    std::vector<std::string> m_directories;
};

TEST(DirectoryIndex, AnswersAsTheWalkDoesOnRandomTrees) {
    for (unsigned seed = 0; seed < 15; ++seed) {
        TempTree const tree;
        RandomTrees trees(tree, seed);
        trees.makeDirectory();
        for (int i = 0; i < 40; ++i)
            trees.fill();
        ObjectPtr<IEditableSearchDirContainer> const dirs = IEditableSearchDirContainer::create();
        for (int i = 0; i < 4; ++i)
            dirs->addDirectory(trees.pick(2) == 0 ? scBinaryFiles : scAllFiles,
                               trees.directory().c_str(), trees.pick(3) != 0, trees.pick(2) == 0);
        ObjectPtr<IEditableSearchEnv> const environment = IEditableSearchEnv::create();
        environment->setSearchDirs(ObjectPtr<ISearchDirContainer>(dirs));

        SearchSupport support{PlaceOptions{{}, "", "", false, {}, ""}};
        SearchSupport plainSupport{PlaceOptions{{}, "", "", false, {}, ""}};
        ModuleSearch indexed(ObjectPtr<ISearchEnv>(environment), support);
        ModuleSearch plain(ObjectPtr<ISearchEnv>(environment), plainSupport, false);
        for (int i = 0; i < 30; ++i) {
            std::string const name = trees.name();
            EXPECT_EQ(describe(indexed.findBinary(name, c_id)),
                      describe(plain.findBinary(name, c_id)))
                << "seed " << seed << ", name " << name;
        }
    }
}

TEST_F(ModuleSearchTest, DirectoriesThatCannotBeListedAreStillEntered) {
    searchIn("tree");
    std::string const hidden = binary("tree/sub/tool", c_id);
    std::filesystem::permissions(m_tree.path("tree/sub"), std::filesystem::perms(0111));
    EXPECT_TRUE(LK_2_13::test::holdsUnprivileged([&] {
        SearchOutcome const outcome =
            ModuleSearch(environment(), support()).findBinary("tool", c_id);
        return outcome.file && outcome.file->path == hidden;
    }));
}

TEST_F(ModuleSearchTest, TreesAreReadOnce) {
    searchIn("tree");
    m_tree.dir("tree/sub");
    ModuleSearch search(environment(), support());
    EXPECT_FALSE(search.findBinary("tool", c_id).file);
    binary("tree/sub/tool", c_id);
    EXPECT_FALSE(search.findBinary("tool", c_id).file);
    EXPECT_TRUE(ModuleSearch(environment(), support(), false).findBinary("tool", c_id).file);
}

TEST_F(ModuleSearchTest, ThreadsMayShareWhatSearchesNeed) {
    searchIn("tree");
    for (int i = 0; i < 20; ++i)
        binary("tree/sub/tool" + std::to_string(i), c_id);
    SearchSupport& shared = support();
    std::vector<int> found(4);
    std::vector<std::thread> threads;
    for (int& count : found)
        threads.emplace_back([&] {
            ModuleSearch search(environment(), shared);
            for (int i = 0; i < 20; ++i)
                count += search.findBinary("/old/tool" + std::to_string(i), c_id).file ? 1 : 0;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(found, std::vector<int>(4, 20));
}

} // namespace
} // namespace lokata::profile::test
