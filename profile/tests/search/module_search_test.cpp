#include "search/module_search.h"

#include "callbacks.h"
#include "on_threads.h"
#include "support/search_fixture.h"
#include "unprivileged.h"

#include <atomic>
#include <random>

#include <sys/stat.h>

namespace lokata::profile::test {
namespace {

using namespace testing;
using namespace LK_2_13;

std::string const c_byId = "debug/.build-id/01/02030405060708";

class ModuleSearchTest : public SearchFixture {
protected:
    SearchSupport& support() {
        if (!m_support)
            m_support = std::make_unique<SearchSupport>(m_options);
        return *m_support;
    }
    ModuleSearch search(bool indexed = true) { return {environment(), support(), {indexed, ""}}; }

    std::unique_ptr<SearchSupport> m_support;
};

TEST_F(ModuleSearchTest, AMovedBinaryIsProvenAndItsRebuiltNamesakeRejected) {
    searchIn("first");
    searchIn("second");
    std::string const rebuilt = binary("first/deep/tool", c_otherId);
    std::string const moved = binary("second/tool", c_id);

    FileResolution const outcome = search().findBinary("/gone/bin/tool", c_id);
    EXPECT_EQ(foundAt(outcome), "search-step " + moved);
    EXPECT_EQ(outcome.confidence, cfValidated);
    EXPECT_EQ(outcome.step, ssLowPrioritySearchDirs);
    EXPECT_EQ(outcome.identity.actual, "0102030405060708");
    EXPECT_THAT(rejections(outcome),
                ElementsAre(AllOf(StartsWith("svError " + rebuilt + " 09090909: "),
                                  HasSubstr("0102030405060708"))));
}

TEST_F(ModuleSearchTest, ACopyByBuildIdComesBehindTheSearchDirectories) {
    searchIn("first");
    std::string const rebuilt = binary("first/tool", c_otherId);
    std::string const copy = binary(c_byId, c_id);
    FileResolution const stored = search().findBinary("/gone/tool", c_id);
    EXPECT_EQ(foundAt(stored), "build-id-tree " + copy);
    EXPECT_THAT(rejections(stored), ElementsAre(StartsWith("svError " + rebuilt + " ")));

    std::string const moved = binary("first/deep/tool", c_id);
    EXPECT_EQ(search(false).findBinary("/gone/tool", c_id).path, moved);
}

TEST_F(ModuleSearchTest, AStrippedNamesakeNeverHidesTheSymbolFile) {
    searchIn("sym");
    std::string const stripped = binary("bin/tool", c_id);
    binary(c_byId + ".debug", c_id);
    binary("sym/a/tool.debug", c_id);
    std::string const real = symbols("sym/b/tool.debug", c_id);

    FileResolution const outcome = search().findSymbols("/usr/bin/tool", stripped, {});
    EXPECT_EQ(outcome.path, real);
    EXPECT_THAT(rejections(outcome),
                AllOf(SizeIs(Ge(2U)), Each(MatchesRegex("svError .*no debug information.*"))));
}

TEST_F(ModuleSearchTest, ARejectionHasAReasonAlsoWhereTheLibraryGivesNone) {
    searchIn("dirs");
    m_tree.dir("dirs/tool");
    std::string const path = binary("dirs/sub/unproven", {});
    EXPECT_THAT(rejections(search().findBinary("tool", {})),
                ElementsAre(MatchesRegex("svNone .*is a directory.*")));

    LK_2_13::test::Policy policy;
    policy.answer = [](search_category_t, unsigned) { return clReject; };
    m_environment->setConfidenceLevelPolicyCallback(
        CallbackHolder<IConfidenceLevelPolicyCallback>(&policy));
    FileResolution const unproven = search().findBinary("unproven", {});
    EXPECT_THAT(rejections(unproven),
                ElementsAre("svNone " + path + " : Nothing recorded proves \"" + path +
                            "\", and only proven files are accepted."));
    EXPECT_EQ(unproven.rejected.at(0).result, vrUndecided);
}

TEST_F(ModuleSearchTest, NoStepFollowsALinkOutOfTheSysroot) {
    m_options.sysroot = m_tree.path("root");
    std::string const app = binary("root/usr/lib/app", c_id);
    std::string const link = m_tree.link("root/usr/lib/app.debug", symbols("host.debug", c_id));
    FileResolution const outcome = search().findSymbols("/usr/lib/app", app, c_id);
    EXPECT_FALSE(outcome.found());
    EXPECT_THAT(outcome.rejected, Contains(AllOf(Field(&JudgedCandidate::path, link),
                                                 Field(&JudgedCandidate::message,
                                                       HasSubstr("leads out of the copied")))));
}

TEST_F(ModuleSearchTest, SymbolsOutOfTheCacheOfPerfComeLast) {
    m_options.perf_cache = m_tree.path("cache");
    searchIn("sym");
    std::string const copy = symbols("cache/.build-id/01/02030405060708/elf", c_id);
    EXPECT_EQ(foundAt(search().findSymbols("/usr/bin/tool", "", c_id)), "perf-cache " + copy);

    std::string const real = symbols("sym/tool.debug", c_id);
    EXPECT_EQ(search(false).findSymbols("/usr/bin/tool", "", c_id).path, real);
}

TEST_F(ModuleSearchTest, AClientOfDebuginfodLeavesFilesAndNotesOfMisses) {
    m_options.debuginfod_cache = m_tree.path("cache");
    std::string const entry = "cache/0102030405060708/";
    m_tree.file(entry + "debuginfo", "");
    FileResolution const miss = search().findSymbols("/usr/bin/tool", "", c_id);
    EXPECT_THAT(miss.rejected, IsEmpty());
    EXPECT_THAT(*miss.suggested, Each(Field(&Candidate::place, Ne(Place::debuginfod_cache))));

    std::string const debug = symbols(entry + "debuginfo", c_id);
    EXPECT_EQ(foundAt(search().findSymbols("/usr/bin/tool", "", c_id)),
              "debuginfod-cache " + debug);
    EXPECT_EQ(foundAt(search().findBinary("/usr/bin/tool", c_id)), "");
    std::string const file = binary(entry + "executable", c_id);
    EXPECT_EQ(foundAt(search().findBinary("/usr/bin/tool", c_id)), "debuginfod-cache " + file);
    std::string const dwz = symbols("cache/09090909/debuginfo", c_otherId);
    ElfBuilder owner;
    owner.debugInfo().altLink("../dwz", c_otherId).write(m_tree.file("owner"));
    EXPECT_EQ(foundAt(*search().findSupplementary(m_tree.path("owner"))),
              "debuginfod-cache " + dwz);

    std::string const source = m_tree.file(entry + "source##src##a#_b##x y.c", "int x;\n");
    WantedSource wanted;
    wanted.file.name = "/src/a#b/./x y.c";
    EXPECT_EQ(foundAt(search().findSource(wanted, c_id)), "debuginfod-cache " + source);
}

TEST_F(ModuleSearchTest, TheBuildIdFindsWhatNoNameLeadsTo) {
    std::string const file = binary(c_byId, c_id);
    std::string const debug = symbols(c_byId + ".debug", c_id);
    EXPECT_EQ(foundAt(search().findBinary("/bin/a\nb", c_id)), "build-id-tree " + file);
    EXPECT_EQ(foundAt(search().findSymbols("/usr/bin/tool", "", c_id)), "build-id-tree " + debug);
    EXPECT_FALSE(search().findBinary("/bin/a\nb", {}).found());
}

TEST_F(ModuleSearchTest, TheCallbacksOfTheEnvironmentComeFirst) {
    std::string const suggested = binary("elsewhere/x", c_id);
    binary(c_byId, c_id);
    searchIn("sym");
    symbols("sym/tool.debug", c_id);
    LK_2_13::test::Started client;
    bool goOn = true;
    client.on_started = [&](char const* /*name*/, IStringContainer& suggestions) {
        suggestions.add(suggested.c_str());
        return goOn;
    };
    m_environment->setSearchStartedCallback(CallbackHolder<ISearchStartedCallback>(&client));

    LK_2_13::test::Found chooser;
    m_environment->setFilesFoundCallback(CallbackHolder<IFilesFoundCallback>(&chooser));
    EXPECT_EQ(search().findBinary("/bin/tool", c_id).path, suggested);
    EXPECT_EQ(chooser.asked, std::to_string(scBinaryFiles) + " /bin/tool  ");
    goOn = false;
    EXPECT_FALSE(search().findSymbols("/bin/tool", "", c_id).found()) << "no step may run";
}

/// Random trees of few names, so that every name has many namesakes, with links across and upwards.
class OnRandomTrees : public ModuleSearchTest, public ::testing::WithParamInterface<unsigned> {
protected:
    unsigned pick(std::size_t count) { return static_cast<unsigned>(m_random() % count); }
    std::string part(char const* letters = "abc") { return {letters[pick(3)]}; }
    std::string path(std::string result, unsigned most) {
        for (unsigned depth = pick(most); depth > 0; --depth)
            result += part() + "/";
        return result;
    }
    std::string directory() { return m_made.at(pick(m_made.size())); }

    void fill() {
        m_made.push_back(m_tree.dir(path("root" + part() + "/", 4)));
        std::string const name = m_made.back() + part("xyz");
        unsigned const kind = pick(6);
        if (kind == 0)
            symlink(directory().c_str(), (m_made.back() + part()).c_str());
        else if (kind == 1)
            symlink("loop", (m_made.back() + "loop").c_str());
        else if (kind == 2)
            mkdir(name.c_str(), 0755);
        else if (!std::filesystem::exists(name))
            ElfBuilder().buildId(pick(2) == 0 ? c_id : c_otherId).write(name);
    }

    std::mt19937 m_random{GetParam()};
    std::vector<std::string> m_made;
};

TEST_P(OnRandomTrees, TheIndexAnswersAsTheWalkDoes) {
    for (int i = 0; i < 40; ++i)
        fill();
    for (int i = 0; i < 4; ++i)
        m_dirs->addDirectory(pick(2) == 0 ? scBinaryFiles : scAllFiles, directory().c_str(),
                             pick(3) != 0, pick(2) == 0);
    SearchSupport plainSupport(m_options);
    ModuleSearch indexed = search();
    ModuleSearch plain(environment(), plainSupport, {false, ""});
    for (int i = 0; i < 30; ++i) {
        std::string const name = path(pick(3) == 0 ? "" : "/", 3) + part("xyz");
        FileResolution const quick = indexed.findBinary(name, c_id);
        FileResolution const walked = plain.findBinary(name, c_id);
        EXPECT_EQ(foundAt(quick), foundAt(walked)) << name;
        EXPECT_EQ(quick.step, walked.step) << name;
        EXPECT_EQ(rejections(quick), rejections(walked)) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(DirectoryIndex, OnRandomTrees, Range(0U, 15U));

TEST_F(ModuleSearchTest, DirectoriesThatCannotBeListedAreStillEntered) {
    searchIn("tree");
    std::string const hidden = binary("tree/sub/tool", c_id);
    std::filesystem::permissions(m_tree.path("tree/sub"), std::filesystem::perms(0111));
    EXPECT_TRUE(holdsUnprivileged([&] {
        FileResolution const outcome = search().findBinary("tool", c_id);
        return outcome.found() && outcome.path == hidden;
    }));
}

TEST_F(ModuleSearchTest, ThreadsMayShareWhatSearchesNeed) {
    searchIn("tree");
    for (int i = 0; i < 20; ++i)
        binary("tree/sub/tool" + std::to_string(i), c_id);
    SearchSupport& shared = support();
    std::atomic<int> found{0};
    onThreads(4, [&](int) {
        ModuleSearch search(environment(), shared);
        for (int i = 0; i < 20; ++i)
            found += search.findBinary("/old/tool" + std::to_string(i), c_id).found() ? 1 : 0;
    });
    EXPECT_EQ(found, 4 * 20);
}

} // namespace
} // namespace lokata::profile::test
