#include "lk_search_impl.h"

#include "support/log_capture.h"
#include "support/scripted_search.h"
#include "support/temp_tree.h"

#include <brace/debug.h>
#include <gmock/gmock.h>

namespace {

using namespace LK_2_13;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class LazyResults : public testing::Test {
protected:
    test::TempTree m_tree;
    std::string m_a = m_tree.file("a");
    std::string m_b = m_tree.file("b");
    std::string m_c = m_tree.file("c");
    test::ScriptedStrategy m_strategy;
    test::ScriptedValidator m_validator;
};

TEST_F(LazyResults, RunsTheNextStepOnlyWhenTheFilesFoundAreUsedUp) {
    m_strategy.candidates[ssHighPrioritySearchDirs] = {m_a, m_b};
    m_strategy.candidates[ssSystemDirs] = {m_c};
    FoundFilesLazyIterator files(m_strategy, m_validator, 0x100000007);
    EXPECT_EQ(m_strategy.selector, 0x100000007U);
    EXPECT_THAT(m_strategy.ran, IsEmpty());

    test::LogCapture const log;
    EXPECT_EQ(files.next()->name(), m_a);
    EXPECT_EQ(m_strategy.ran.back(), ssHighPrioritySearchDirs);
    EXPECT_EQ(log.text(), "*** VALID____ADDED " + m_a + "\nFound file: " + m_a +
                              " in step: ssHighPrioritySearchDirs\n");
    files.reset();
    EXPECT_THAT(test::namesOf(files), ElementsAre(m_a, m_c));
    EXPECT_THAT(m_strategy.ran,
                ElementsAre(ssArchiveSearchDirs, ssHighPrioritySearchDirs, ssAbsoluteNameLookup,
                            ssAroundBinaryLookup, ssLowPrioritySearchDirs, ssSystemDirs));
    EXPECT_FALSE(files.next());
    EXPECT_EQ(m_strategy.ran.size(), 6U);
    EXPECT_THAT(log.text(), testing::EndsWith("Nothing found\nNothing found\n"));
}

TEST_F(LazyResults, GivesSuggestionsBeforeAnyStepRuns) {
    FoundFilesLazyIterator files(m_strategy, m_validator, 0);
    test::LogCapture const log;
    files.processSuggestedResolution(m_tree.path("none").c_str());
    files.processSuggestedResolution(m_b.c_str());
    EXPECT_EQ(log.text(),
              "*** DO__NOT__EXIST " + m_tree.path("none") + "\n*** VALID____ADDED " + m_b + "\n");
    EXPECT_THAT(m_validator.asked, ElementsAre(m_b));
    EXPECT_EQ(files.next()->searchStep(), ssAskUser);
    EXPECT_THAT(m_strategy.ran, IsEmpty());
}

TEST_F(LazyResults, FilesTheFirstEntryOfAPathInEachListApart) {
    FoundFilesLazyIterator files(m_strategy, m_validator, 0);
    std::string const otherForm = m_tree.root() + "/./a";
    test::LogCapture const log;
    EXPECT_TRUE(files.validateAndAdd(m_a.c_str(), ssAbsoluteNameLookup));
    EXPECT_FALSE(files.validateAndAdd(otherForm.c_str(), ssSystemDirs));
    m_validator.refused = {m_a, otherForm};
    EXPECT_FALSE(files.validateAndAdd(otherForm.c_str(), ssSystemDirs));
    EXPECT_FALSE(files.validateAndAdd(m_a.c_str(), ssAskUser));
    EXPECT_EQ(log.text(), "*** VALID____ADDED " + m_a + "\n*** VALID_DUBLICAT " + otherForm +
                              "\n*** INVALID__ADDED " + otherForm + "\n*** INVALID_DUBLIC " + m_a +
                              "\n");

    files.currentlyFoundInvalid()->reset();
    ObjectPtr<IInvalidFile> const invalid = files.currentlyFoundInvalid()->next();
    EXPECT_EQ(invalid->name(), m_a);
    EXPECT_EQ(invalid->searchStep(), ssSystemDirs);
    EXPECT_FALSE(files.currentlyFoundInvalid()->next());
    files.currentlyFoundValid()->reset();
    EXPECT_THAT(test::namesOf(*files.currentlyFoundValid()), ElementsAre(m_a));
    EXPECT_THAT(m_strategy.ran, IsEmpty());
}

TEST_F(LazyResults, GoesOnInTheSameCallAfterAStepWithoutANewFile) {
    m_validator.refused = {m_b};
    m_strategy.candidates[ssArchiveSearchDirs] = {m_a};
    m_strategy.candidates[ssHighPrioritySearchDirs] = {m_b, m_a};
    m_strategy.candidates[ssLowPrioritySearchDirs] = {m_c};
    FoundFilesLazyIterator files(m_strategy, m_validator, 0);
    EXPECT_THAT(test::namesOf(files), ElementsAre(m_a, m_c));
}

TEST_F(LazyResults, StaysAtAStepThatIsNone) {
    class Steps : public RefCountImpl<ISearchStepsIterator> {
    public:
        void reset() override {}
        bool next() override { return false; }
        bool current(search_step_t& step) override {
            step = ssAskUser;
            return true;
        }
    };
    m_strategy.steps = new Steps;
    FoundFilesLazyIterator files(m_strategy, m_validator, 0);
    test::LogCapture const log(log4cplus::ERROR_LOG_LEVEL);
    EXPECT_FALSE(files.next());
    EXPECT_FALSE(files.next());
    ASSERT_EQ(log.records().size(), 2U);
    EXPECT_THAT(log.records()[1].text, StartsWith("Unexpected value., at file: "));
}

std::string g_report;

TEST_F(LazyResults, WithoutStepsGivesTheSuggestionsAndThenNull) {
    auto const previous = BRACE_2_18::debug::set_handler(
        [](char const* text, char const* file, char const* function) {
            g_report = std::string(text) + "|" + file + "|" + function;
        });
    m_strategy.steps = ObjectPtr<ISearchStepsIterator>();
    FoundFilesLazyIterator files(m_strategy, m_validator, 0);
    BRACE_2_18::debug::set_handler(previous);
    EXPECT_THAT(g_report, StartsWith("Null pointer|vcs/lokata2/src/lk_search_impl|"));
    EXPECT_THAT(g_report, HasSubstr("FoundFilesLazyIterator("));
    files.processSuggestedResolution(m_a.c_str());
    EXPECT_THAT(test::namesOf(files), ElementsAre(m_a));
}

TEST(LinuxName, IsRootedByExactlyOneSlashOrBackslash) {
    for (std::string const name : {"", "a\\b", "//a", "\\\\a", "C:\\a", "\\"}) {
        std::string fixed = name;
        EXPECT_FALSE(fixLinuxName(fixed)) << name;
        EXPECT_EQ(fixed, name);
    }
    std::string name = "\\usr\\lib/x\\y";
    EXPECT_TRUE(fixLinuxName(name));
    EXPECT_EQ(name, "/usr/lib/x/y");
    EXPECT_TRUE(fixLinuxName(name = "/a\\b"));
    EXPECT_EQ(name, "/a/b");
    EXPECT_TRUE(fixLinuxName(name = "/"));
}

} // namespace
