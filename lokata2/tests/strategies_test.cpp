#include "lk_search_strategy_bin.h"
#include "lk_search_strategy_src.h"
#include "lk_search_strategy_sym.h"

#include "support/offers.h"
#include "support/retriever.h"
#include "support/scripted_search.h"
#include "support/temp_tree.h"

#include <gmock/gmock.h>
#include <lokata2/utils.h>

#include <sys/utsname.h>

namespace {

using namespace LK_2_13;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class SystemDirs final : public ISearchDirectoryContainer {
public:
    void addSearchDirectory(char const* directory, bool recursive) override {
        names.push_back(std::string(directory) + (recursive ? " recursive" : ""));
    }

    std::vector<std::string> names;
};

class Strategies : public testing::Test {
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
    std::vector<std::string> offered() {
        auto names = m_offers.namesBelow(m_tree.root());
        m_offers.names.clear();
        return names;
    }
    template <class Strategy>
    static std::vector<std::string> systemDirs(Strategy strategy) {
        SystemDirs dirs;
        strategy.fillSystemDirs(dirs);
        return dirs.names;
    }

    test::TempTree m_tree;
    test::Offers m_offers;
    test::ScriptedValidator m_validator;
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
    EXPECT_FALSE(src("/vm/[guest]/x").findInSystemDirs(m_offers));
    EXPECT_FALSE(bin("[guest]").findInSystemDirs(m_offers));
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
