#include "lk_search_strategy_bin.h"
#include "lk_search_strategy_src.h"
#include "lk_search_strategy_sym.h"

#include "support/log_capture.h"
#include "support/offers.h"
#include "support/temp_tree.h"

#include <gmock/gmock.h>
#include <lokata2/utils.h>

#include <sys/utsname.h>

namespace {

using namespace LK_2_13;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Return;

class NoValidator final : public IValidator {
public:
    ObjectPtr<IValidatedFile> validate(char const*) override { return {}; }
};

class SystemDirs final : public ISearchDirectoryContainer {
public:
    void addSearchDirectory(char const* directory, bool recursive) override {
        names.push_back(std::string(directory) + (recursive ? " recursive" : ""));
    }

    std::vector<std::string> names;
};

class Retriever final : public IFileRetriever {
public:
    int retrieveFile(char const* name, char const* targetDir) override {
        asked.push_back(std::string(name) + " to " + targetDir);
        if (result == 0 && copies) {
            std::string const target = std::string(targetDir) + "/" + name;
            std::filesystem::create_directories(std::filesystem::path(target).parent_path());
            std::ofstream(target) << "content";
        }
        return result;
    }
    int retrieveChecksum(char const*, ObjectPtr<IChecksum>&) override { return 1; }
    char const* machineName() const override { return "remote"; }
    bool isLocalFile(std::string const& name) override { return name == local; }

    std::string local;
    int result = 0;
    bool copies = true;
    std::vector<std::string> asked;
};

class Configurator final : public RefCountImpl<ISearchStepsConfigurator> {
public:
    MOCK_METHOD(ObjectPtr<ISearchStepsIterator>, getSearchStepsIterator,
                (search_category_t, unsigned long long), (override));
    MOCK_METHOD(void, setStep, (search_step_t, search_category_t, bool), (override));
};

/// A client's own list, the only record of which has no name.
class Nameless final : public RefCountImpl<ISearchDirContainer> {
public:
    class Iterator final : public RefCountImpl<ISearchDirIterator> {
    public:
        void reset() override {}
        bool next() override { return !(m_atEnd = true); }
        bool getCurrentRecord(char const*& name, bool& recursive, bool& priority) override {
            name = nullptr;
            recursive = priority = true;
            return !m_atEnd;
        }

    private:
        bool m_atEnd = false;
    };

    ObjectPtr<ISearchDirIterator> enumerate(search_category_t) const override {
        return new Iterator;
    }
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
    static std::string release() {
        utsname machine{};
        uname(&machine);
        return machine.release;
    }

    test::TempTree m_tree;
    test::Offers m_offers;
    NoValidator m_validator;
    std::string m_tempDir;
    ObjectPtr<IEditableSearchDirContainer> m_searchDirs = IEditableSearchDirContainer::create();
    ObjectPtr<IEditableSearchDirContainer> m_archiveDirs = IEditableSearchDirContainer::create();
    ObjectPtr<IEditableSearchEnv> m_env = IEditableSearchEnv::create();
};

TEST_F(Strategies, WalkAnArchiveBelowTheNameOfTheFile) {
    m_tree.dir("arc/binaries/x.so/0a");
    m_tree.dir("arc/binaries/y.so/0b");
    m_archiveDirs->addDirectory(scAllFiles, m_tree.path("arc/all").c_str(), false, false);
    m_archiveDirs->addDirectory(scBinaryFiles, m_tree.path("arc/binaries").c_str(), false, false);
    EXPECT_FALSE(bin("/lib/x.so").findInArchiveDirs(m_offers));
    EXPECT_THAT(offered(), ElementsAre("arc/binaries/x.so/x.so", "arc/binaries/x.so/x.so",
                                       "arc/binaries/x.so/0a/x.so", "arc/all/x.so/x.so"));
    EXPECT_THAT(m_offers.steps, Each(ssArchiveSearchDirs));

    m_offers.accepted = m_tree.path("arc/binaries/x.so/0a/x.so");
    EXPECT_TRUE(bin("/lib/x.so").findInArchiveDirs(m_offers));
    EXPECT_EQ(m_offers.names.back(), m_offers.accepted);
}

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
    EXPECT_THAT(offered(), ElementsAre("/high/a/x.c", "/high/x.c"));
}

TEST_F(Strategies, PassOverADirectoryWithoutAName) {
    ObjectPtr<ISearchDirContainer> const nameless(new Nameless);
    m_env->setSearchDirs(nameless);
    m_env->setArchiveDirs(nameless);
    EXPECT_FALSE(src("x.c").findInHighPriorityDirs(m_offers));
    EXPECT_FALSE(src("x.c").findInArchiveDirs(m_offers));
    EXPECT_THAT(offered(), IsEmpty());
}

TEST_F(Strategies, LookForAGuestsNameASecondTimeBelowTheMarkerAndNeverInTheSystem) {
    m_searchDirs->addDirectory(scSourceFiles, "/d", false, true);
    EXPECT_FALSE(src("/vm/[guest]/x").findInHighPriorityDirs(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/d/vm/[guest]/x", "/d/vm/[guest]/x", "/d/[guest]/x", "/d/x",
                                       "/d/[guest]/vm", "/d/vm"));
    EXPECT_FALSE(src("[guest]x").findInHighPriorityDirs(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/d/[guest]x", "/d/[guest]/[guest]x", "/d/[guest]x"));

    EXPECT_FALSE(src("/vm/[guest]/x").findInSystemDirs(m_offers));
    EXPECT_FALSE(bin("/vm/[guest]/x").findInSystemDirs(m_offers));
    EXPECT_FALSE(bin("[guest]").findInSystemDirs(m_offers));
    EXPECT_THAT(offered(), IsEmpty());
}

TEST_F(Strategies, OfferAnAbsoluteNameAsItStands) {
    EXPECT_FALSE(src("x.c").lookUpAbsoluteName(m_offers));
    EXPECT_FALSE(bin("x").lookUpAbsoluteName(m_offers));
    EXPECT_THAT(offered(), IsEmpty());
    m_offers.accepted = "/none/x";
    EXPECT_TRUE(src("/none/x").lookUpAbsoluteName(m_offers));
    EXPECT_TRUE(bin("/none/x").lookUpAbsoluteName(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/none/x", "/none/x"));
    EXPECT_THAT(m_offers.steps, Each(ssAbsoluteNameLookup));
}

TEST_F(Strategies, SearchTheCacheRecursivelyAndReportAnEmptyOne) {
    test::LogCapture log;
    EXPECT_FALSE(bin("/lib/x.so").findInCacheDir(m_offers));
    EXPECT_THAT(log.text(), HasSubstr("Empty directory name., at file: "));
    EXPECT_THAT(offered(), IsEmpty());

    std::string const archived = m_tree.file("x.so/0a/x.so");
    m_env->setCacheDir(m_tree.root().c_str());
    m_offers.accepted = archived;
    EXPECT_TRUE(bin("/lib/x.so").findInCacheDir(m_offers));
    EXPECT_THAT(offered(), ElementsAre("x.so", "x.so", "x.so/x.so", "x.so/0a/x.so"));
    EXPECT_THAT(m_offers.steps, Each(ssCacheSearchDir));
}

TEST_F(Strategies, FindNothingWithoutAnEnvironment) {
    m_env = ObjectPtr<IEditableSearchEnv>();
    test::LogCapture log;
    BinFileSearchStrategy strategy = bin(nullptr);
    EXPECT_STREQ(strategy.fileToSearch(), "");
    EXPECT_FALSE(strategy.findInArchiveDirs(m_offers));
    EXPECT_FALSE(strategy.findInHighPriorityDirs(m_offers));
    EXPECT_FALSE(strategy.findInLowPriorityDirs(m_offers));
    EXPECT_FALSE(strategy.findInCacheDir(m_offers));
    EXPECT_FALSE(strategy.lookUpAbsoluteName(m_offers));
    EXPECT_THAT(offered(), IsEmpty());
    EXPECT_EQ(log.text(), "");

    search_step_t step{};
    auto const steps = strategy.getSearchStepsIterator(0);
    steps->reset();
    EXPECT_TRUE(steps->current(step));
    EXPECT_EQ(step, ssArchiveSearchDirs);
}

TEST_F(Strategies, AskTheConfiguratorOfTheEnvironmentForTheirSteps) {
    ObjectPtr<Configurator> const configurator(new Configurator);
    EXPECT_CALL(*configurator, getSearchStepsIterator(scSymbolFiles, 1ULL << 40))
        .WillOnce(Return(ObjectPtr<ISearchStepsIterator>()));
    m_env->setSearchStepsConfigurator(ObjectPtr<ISearchStepsConfigurator>(configurator));
    EXPECT_FALSE(sym("x", nullptr).getSearchStepsIterator(1ULL << 40));
}

TEST_F(Strategies, LookForSymbolsAroundTheBinary) {
    EXPECT_FALSE(sym("x.so.debug", "").lookUpAroundBinary(m_offers));
    EXPECT_FALSE(src("/opt/a/x.c").lookUpAroundBinary(m_offers));
    EXPECT_THAT(offered(), IsEmpty());
    EXPECT_FALSE(sym("/s/x.so.debug", "/opt/a/x.so").lookUpAroundBinary(m_offers));
    EXPECT_THAT(offered(),
                ElementsAre("/opt/a/x.so.debug", "/opt/a/x.debug", "/opt/a/.debug/x.so.debug"));
    EXPECT_FALSE(sym("y.pdb", "/opt/a/x.so").lookUpAroundBinary(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/opt/a/y.pdb", "/opt/a/x.pdb", "/opt/a/.debug/y.pdb"));
    EXPECT_FALSE(sym("x.pdb", "x.so").lookUpAroundBinary(m_offers));
    EXPECT_THAT(offered(), ElementsAre("x.pdb", "/.debug/x.pdb"));
    EXPECT_THAT(m_offers.steps, Each(ssAroundBinaryLookup));

    m_offers.accepted = "/opt/a/x.debug";
    EXPECT_TRUE(sym("x.so.debug", "/opt/a/x.so").lookUpAroundBinary(m_offers));
    EXPECT_EQ(m_offers.names.back(), m_offers.accepted);
}

TEST_F(Strategies, KnowTheSystemDirectoriesOfSymbolsAndSources) {
    EXPECT_THAT(systemDirs(sym("x.debug", "/usr/bin/x")),
                ElementsAre("/usr/lib/debug", "/usr/lib/debug//usr/bin"));
    EXPECT_THAT(systemDirs(sym("/usr/bin/x.debug", "/usr/bin/x")), ElementsAre("/usr/lib/debug"));
    EXPECT_THAT(systemDirs(sym("x.debug", nullptr)), ElementsAre("/usr/lib/debug"));
    EXPECT_THAT(systemDirs(src("x.c")),
                ElementsAre("/usr/src", "/usr/src/linux-headers-" + release()));
}

TEST_F(Strategies, KnowTheKernelsOwnTreeForBinaries) {
    std::string const modules = "/lib/modules/" + release() + "/kernel/ recursive";
    EXPECT_THAT(systemDirs(bin("ext4")), ElementsAre("/lib/modules", modules));
    EXPECT_THAT(systemDirs(bin("/x/vmlinux")), ElementsAre("/lib/modules", modules, "/boot"));
    ObjectPtr<IEditableEnvironmentInfo> const info = IEditableEnvironmentInfo::create();
    m_env->setEnvironmentInfo(ObjectPtr<IEnvironmentInfo>(info));
    EXPECT_THAT(systemDirs(bin("vmlinux")), ElementsAre("/lib/modules", modules, "/boot"));
    info->setKernelRelease("9.9");
    EXPECT_THAT(systemDirs(bin("vmlinux")),
                ElementsAre("/lib/modules", modules, "/boot", "/usr/lib/debug/lib/modules/9.9"));
    EXPECT_EQ(systemDirs(bin("vmlinux-9.9")).size(), 2U);
}

TEST_F(Strategies, TakeABareNameForAKernelModuleInTheSystem) {
    for (auto const& [name, first] :
         {std::pair("ext4", "/lib/modules/ext4.ko"), std::pair("ext4.ko", "/lib/modules/ext4.ko"),
          std::pair("/x/ext4", "/lib/modules/x/ext4"),
          std::pair("vmlinux", "/lib/modules/vmlinux.ko")}) {
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

    static constexpr char const* s_inCache =
        "cache/x.so/9a0364b9e99bb480dd25e1f0284c8555/x.so"; // the MD5 of "content"
    Retriever m_retriever;
};

TEST_F(RetrievedBinary, IsOfferedFromTheCache) {
    m_offers.accepted = m_tree.path(s_inCache);
    EXPECT_TRUE(bin("\\lib\\x.so").lookUpAbsoluteName(m_offers));
    EXPECT_THAT(m_retriever.asked, ElementsAre("/lib/x.so to " + m_tempDir));
    EXPECT_FALSE(utils::fileExists(m_tree.path("temp/lib/x.so").c_str()));

    EXPECT_TRUE(bin("/lib/x.so").lookUpAbsoluteName(m_offers));
    EXPECT_TRUE(utils::fileExists(m_tree.path("temp/lib/x.so").c_str()));
    EXPECT_THAT(offered(), ElementsAre(s_inCache, s_inCache));
    EXPECT_THAT(m_offers.steps, Each(ssAbsoluteNameLookup));
}

TEST_F(RetrievedBinary, IsLookedUpHereIfTheRetrieverCallsItLocal) {
    m_retriever.local = "/lib/x.so";
    EXPECT_FALSE(bin("/lib/x.so").lookUpAbsoluteName(m_offers));
    EXPECT_THAT(offered(), ElementsAre("/lib/x.so"));
    EXPECT_THAT(m_retriever.asked, IsEmpty());
}

TEST_F(RetrievedBinary, IsGivenUpWithoutALookHereOnAnyFailure) {
    test::LogCapture log;
    m_retriever.result = 7;
    EXPECT_FALSE(bin("/lib/x.so").lookUpAbsoluteName(m_offers));
    m_retriever = {};
    m_retriever.copies = false;
    EXPECT_FALSE(bin("/lib/x.so").lookUpAbsoluteName(m_offers));

    m_retriever = {};
    m_env->setCacheDir(m_tree.path("none/cache").c_str());
    EXPECT_FALSE(bin("/lib/x.so").lookUpAbsoluteName(m_offers));
    EXPECT_FALSE(utils::fileExists(m_tree.path("temp/lib/x.so").c_str()));

    m_retriever = {};
    m_tempDir.clear();
    EXPECT_FALSE(bin("/lib/x.so").lookUpAbsoluteName(m_offers));
    EXPECT_EQ(log.text(), "");
    m_env->setCacheDir("");
    EXPECT_FALSE(bin("/lib/x.so").lookUpAbsoluteName(m_offers));
    EXPECT_THAT(log.text(), HasSubstr("Empty directory name., at file: "));
    EXPECT_THAT(m_retriever.asked, IsEmpty());
    EXPECT_THAT(offered(), IsEmpty());
}

} // namespace
