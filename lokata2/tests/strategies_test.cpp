#include "lk_search_finder.h"
#include "lk_search_strategy_bin.h"
#include "lk_search_strategy_src.h"
#include "lk_search_strategy_sym.h"
#include "lk_search_validator.h"

#include "support/callbacks.h"
#include "support/retriever.h"
#include "temp_tree.h"
#include "unprivileged.h"

#include <gmock/gmock.h>
#include <lokata2/utils.h>

#include <sys/stat.h>
#include <sys/utsname.h>

namespace {

using namespace LK_2_13;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// Writes down the candidates that a search step offers. Accepts the one that it is told to.
class Offers final : public ISearchResultsContainer {
public:
    bool validateAndAdd(char const* fileName, unsigned int searchStep) override {
        names.emplace_back(fileName);
        steps.push_back(searchStep);
        return names.back() == accepted;
    }

    std::string accepted;
    std::vector<std::string> names;
    std::vector<unsigned int> steps;
};

/// Candidates are offered out of a real tree.
class OfferedFiles : public testing::Test {
protected:
    /// What was offered since the last call, relative to the tree.
    std::vector<std::string> offered() {
        std::string const root = m_tree.root() + "/";
        std::vector<std::string> names;
        for (std::string const& name : m_offers.names)
            names.push_back(name.rfind(root, 0) == 0 ? name.substr(root.size()) : name);
        m_offers.names.clear();
        return names;
    }

    TempTree m_tree;
    Offers m_offers;
};

class DirectoryWalker : public OfferedFiles {
protected:
    /// Walks one directory for a name.
    std::vector<std::string> walked(std::string const& directory, char const* name,
                                    bool recursive = true) {
        FilesFinder finder(ssSystemDirs, nullptr);
        finder.addSearchDirectory(directory.c_str(), recursive);
        finder.find(name, m_offers);
        return offered();
    }
};

TEST_F(DirectoryWalker, StripsTheDirectoriesOfANameFromTheLeft) {
    EXPECT_THAT(walked("/d", "/usr/lib/x.so", false),
                ElementsAre("/d/usr/lib/x.so", "/d/usr/lib/x.so", "/d/lib/x.so", "/d/x.so"));
    EXPECT_THAT(m_offers.steps, Each(ssSystemDirs));
    EXPECT_THAT(walked("/d/e", "./a/../../x", false),
                ElementsAre("/d/x", "/d/x", "/x", "/d/x", "/d/e/x"));
}

TEST_F(DirectoryWalker, OffersTheFullNameFirstAndThenTheBareNameTreeByTree) {
    m_tree.dir("p/a");
    m_tree.dir("r/s");
    auto names = walked(m_tree.root(), "a/x");
    ASSERT_EQ(names.size(), 7U);
    if (names[3] == "r/x")
        std::swap_ranges(names.begin() + 3, names.begin() + 5, names.begin() + 5);
    EXPECT_THAT(names, ElementsAre("a/x", "x", "x", "p/x", "p/a/x", "r/x", "r/s/x"));
    EXPECT_THAT(walked(m_tree.root(), "a/x", false), ElementsAre("a/x", "x"));
}

TEST_F(DirectoryWalker, EntersEachDirectoryOnceThroughLinksAndLoops) {
    m_tree.dir("a/b");
    m_tree.link("a/b/up", "../..");
    m_tree.link("a/again", "b");
    TempTree const elsewhere;
    m_tree.link("out", elsewhere.root());
    m_tree.file("file");
    auto const names = walked(m_tree.root(), "x");
    EXPECT_THAT(names, testing::AnyOf(UnorderedElementsAre("x", "x", "out/x", "a/x", "a/b/x"),
                                      UnorderedElementsAre("x", "x", "out/x", "a/x", "a/again/x")));
    EXPECT_THAT(walked(m_tree.path("none"), "x"), ElementsAre("none/x"));
    EXPECT_THAT(walked(m_tree.path("file"), "x"), ElementsAre("file/x", "file/x"));
}

TEST_F(DirectoryWalker, GivesUpADirectoryThatIsClosedOrHasAnEntryOfUnknownStatus) {
    for (char const* name : {"bad/sub1", "bad/sub2", "closed/sub", "locked/sub"})
        m_tree.dir(name);
    m_tree.link("bad/self", "self");
    // Two of them, for in no order may the first one end the walk.
    for (char const* name : {"closed", "locked"})
        ASSERT_EQ(chmod(m_tree.path(name).c_str(), 0311), 0);
    EXPECT_TRUE(holdsUnprivileged([&] {
        std::vector<std::string> const wanted{"bad/x", "closed/x", "locked/x", "x", "x"};
        std::vector<std::string> names = walked(m_tree.root(), "x");
        std::sort(names.begin(), names.end());
        return names == wanted;
    }));
}

class SystemDirs final : public ISearchDirectoryContainer {
public:
    void addSearchDirectory(char const* directory, bool recursive) override {
        names.push_back(std::string(directory) + (recursive ? " recursive" : ""));
    }

    std::vector<std::string> names;
};

class Strategies : public OfferedFiles {
protected:
    Strategies() {
        m_env->setSearchDirs(m_searchDirs);
        m_env->setArchiveDirs(m_archiveDirs);
    }

    BinFileSearchStrategy bin(char const* name) {
        return {m_env.get(), name, m_validator, m_tempDir.c_str()};
    }
    SymFileSearchStrategy sym(char const* name, char const* binary) {
        return {m_env.get(), name, binary, nullptr, m_validator, nullptr};
    }
    SrcFileSearchStrategy src(char const* name) {
        return {m_env.get(), name, nullptr, nullptr, m_validator};
    }
    template <class Strategy>
    static std::vector<std::string> systemDirs(Strategy strategy) {
        SystemDirs dirs;
        strategy.fillSystemDirs(dirs);
        return dirs.names;
    }

    test::Policy m_policy;
    Validator m_validator{nullptr, &m_policy, scAllFiles, nullptr, ""};
    std::string m_tempDir;
    ObjectPtr<IEditableSearchDirContainer> m_searchDirs = IEditableSearchDirContainer::create();
    ObjectPtr<IEditableSearchDirContainer> m_archiveDirs = IEditableSearchDirContainer::create();
    ObjectPtr<IEditableSearchEnv> m_env = IEditableSearchEnv::create();
};

TEST_F(Strategies, TakeTheDirectoriesOfTheStepsPriorityAndTheFilesCategoryFirst) {
    m_tree.dir("sub");
    m_searchDirs->addDirectory(scAllFiles, "/all", false, true);
    m_searchDirs->addDirectory(scSourceFiles, "/high", false, true);
    m_searchDirs->addDirectory(scSourceFiles, m_tree.root().c_str(), true, false);
    m_searchDirs->addDirectory(scBinaryFiles, "/bin", false, true);
    EXPECT_FALSE(src("a/x.c").findInHighPriorityDirs(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/high/a/x.c", "/high/x.c", "/all/a/x.c", "/all/x.c"));
    EXPECT_THAT(m_offers.steps, Each(ssHighPrioritySearchDirs));

    m_archiveDirs->addDirectory(scAllFiles, "/kept/all", false, false);
    m_archiveDirs->addDirectory(scSourceFiles, "/kept/src", false, false);
    m_offers.steps.clear();
    EXPECT_FALSE(src("a/x.c").findInArchiveDirs(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/kept/src/x.c/x.c", "/kept/all/x.c/x.c"));
    EXPECT_THAT(m_offers.steps, Each(ssArchiveSearchDirs));

    m_offers.steps.clear();
    EXPECT_FALSE(src("a/x.c").findInLowPriorityDirs(m_offers));
    EXPECT_THAT(offered(), ElementsAre("a/x.c", "x.c", "x.c", "sub/x.c"));
    EXPECT_THAT(m_offers.steps, Each(ssLowPrioritySearchDirs));
    m_offers.accepted = "/high/x.c";
    EXPECT_TRUE(src("a/x.c").findInHighPriorityDirs(m_offers));
}

TEST_F(Strategies, LookForAGuestsNameASecondTimeBelowTheMarkerAndNeverInTheSystem) {
    m_searchDirs->addDirectory(scSourceFiles, "/d", false, true);
    EXPECT_FALSE(src("/vm/[guest]/x").findInHighPriorityDirs(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/d/vm/[guest]/x", "/d/vm/[guest]/x", "/d/[guest]/x", "/d/x",
                                       "/d/[guest]/vm", "/d/vm"));
    EXPECT_FALSE(src("[guest]x").findInHighPriorityDirs(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/d/[guest]x", "/d/[guest]/[guest]x", "/d/[guest]x"));
    EXPECT_FALSE(src("/vm/[guest]/x").findInSystemDirs(m_offers) ||
                 bin("[guest]").findInSystemDirs(m_offers));
    EXPECT_THAT(offered(), IsEmpty());
}

TEST_F(Strategies, SearchTheCacheRecursively) {
    EXPECT_FALSE(bin("/lib/x.so").findInCacheDir(m_offers));
    m_offers.accepted = m_tree.file("x.so/0a/x.so");
    m_env->setCacheDir(m_tree.root().c_str());
    EXPECT_TRUE(bin("/lib/x.so").findInCacheDir(m_offers));
    EXPECT_THAT(offered(), ElementsAre("x.so", "x.so", "x.so/x.so", "x.so/0a/x.so"));
    EXPECT_THAT(m_offers.steps, Each(ssCacheSearchDir));
}

TEST_F(Strategies, TakeTheStepsOfTheirCategoryFromTheEnvironmentInAFixedOrder) {
    auto const configurator = ISearchStepsConfigurator::create();
    configurator->setStep(search_step_t(ssSystemDirs | ssArchiveSearchDirs), scSymbolFiles, false);
    configurator->setStep(ssCacheSearchDir, scSymbolFiles, true);
    m_env->setSearchStepsConfigurator(configurator);
    auto const iterator = sym("x", nullptr).getSearchStepsIterator(0);
    std::vector<search_step_t> steps;
    search_step_t step{};
    for (iterator->reset(); iterator->current(step); iterator->next())
        steps.push_back(step);
    EXPECT_THAT(steps, ElementsAre(ssHighPrioritySearchDirs, ssCacheSearchDir, ssAbsoluteNameLookup,
                                   ssAroundBinaryLookup, ssLowPrioritySearchDirs));
}

TEST_F(Strategies, LookForSymbolsAroundTheBinary) {
    EXPECT_FALSE(sym("x.so.debug", "").lookUpAroundBinary(m_offers));
    EXPECT_THAT(offered(), IsEmpty());
    EXPECT_FALSE(sym("/s/x.so.debug", "/opt/a/x.so").lookUpAroundBinary(m_offers));
    EXPECT_THAT(offered(),
                ElementsAre("/opt/a/x.so.debug", "/opt/a/x.debug", "/opt/a/.debug/x.so.debug"));
    EXPECT_FALSE(sym("x.pdb", "x.so").lookUpAroundBinary(m_offers));
    EXPECT_THAT(offered(), ElementsAre("x.pdb", "/.debug/x.pdb"));
    EXPECT_THAT(m_offers.steps, Each(ssAroundBinaryLookup));
}

TEST_F(Strategies, KnowTheSystemDirectories) {
    utsname machine{};
    uname(&machine);
    std::string const modules =
        std::string("/lib/modules/") + machine.release + "/kernel/ recursive";
    EXPECT_THAT(systemDirs(sym("x.debug", "/usr/bin/x")),
                ElementsAre("/usr/lib/debug", "/usr/lib/debug//usr/bin"));
    EXPECT_THAT(systemDirs(src("x.c")),
                ElementsAre("/usr/src", std::string("/usr/src/linux-headers-") + machine.release));
    auto const info = IEditableEnvironmentInfo::create();
    m_env->setEnvironmentInfo(info);
    info->setKernelRelease("9.9");
    EXPECT_THAT(systemDirs(bin("vmlinux")),
                ElementsAre("/lib/modules", modules, "/boot", "/usr/lib/debug/lib/modules/9.9"));
    EXPECT_EQ(systemDirs(bin("vmlinux-9.9")).size(), 2U);
}

TEST_F(Strategies, TakeABareNameForAKernelModuleInTheSystem) {
    for (auto const& [name, first] :
         {std::pair("ext4", "/lib/modules/ext4.ko"), std::pair("ext4.ko", "/lib/modules/ext4.ko"),
          std::pair("/x/ext4", "/lib/modules/x/ext4")}) {
        m_offers.accepted = first;
        EXPECT_TRUE(bin(name).findInSystemDirs(m_offers));
        EXPECT_THAT(offered(), ElementsAre(first));
    }
    EXPECT_THAT(m_offers.steps, Each(ssSystemDirs));
}

class RetrievedBinary : public Strategies {
protected:
    RetrievedBinary() {
        m_tempDir = m_tree.dir("temp");
        m_env->setCacheDir(m_tree.dir("cache").c_str());
        m_env->setFileRetriever(&m_retriever);
    }

    bool lookUp(char const* name = "/lib/x.so") { return bin(name).lookUpAbsoluteName(m_offers); }
    bool isInTemp() const { return utils::fileExists(m_tree.path("temp/lib/x.so").c_str()); }

    test::Retriever m_retriever;
};

TEST_F(RetrievedBinary, IsOfferedFromTheCacheUnlessItIsLocal) {
    std::string const cached = "cache/x.so/9a0364b9e99bb480dd25e1f0284c8555/x.so";
    m_offers.accepted = m_tree.path(cached);
    EXPECT_TRUE(lookUp("\\lib\\x.so"));
    EXPECT_THAT(m_retriever.asked, ElementsAre("/lib/x.so to " + m_tempDir));
    EXPECT_FALSE(isInTemp());
    EXPECT_TRUE(lookUp());
    EXPECT_TRUE(isInTemp()) << "archived before, so the copy stays";
    m_retriever.local = "/lib/x.so";
    EXPECT_FALSE(lookUp());
    EXPECT_FALSE(src("x.c").lookUpAbsoluteName(m_offers));
    EXPECT_THAT(offered(), ElementsAre(cached, cached, "/lib/x.so"));
    EXPECT_EQ(m_retriever.asked.size(), 2U);
}

TEST_F(RetrievedBinary, IsGivenUpWithoutALookHereOnAnyFailure) {
    m_retriever.result = 7;
    EXPECT_FALSE(lookUp());
    m_retriever = {};
    m_retriever.copies = false;
    EXPECT_FALSE(lookUp());
    m_retriever = {};
    m_env->setCacheDir(m_tree.path("none/cache").c_str());
    EXPECT_FALSE(lookUp());
    EXPECT_FALSE(isInTemp());
    m_retriever = {};
    EXPECT_FALSE(lookUp("../outside"));
    EXPECT_THAT(m_retriever.asked, IsEmpty()) << "the name leads out of the temporary directory";
    m_env->setCacheDir("");
    EXPECT_FALSE(lookUp());
    EXPECT_THAT(m_retriever.asked, IsEmpty());
    EXPECT_THAT(offered(), IsEmpty());
}

} // namespace
