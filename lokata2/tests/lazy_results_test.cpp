#include "lk_search_impl.h"

#include "support/scripted_search.h"
#include "support/temp_tree.h"

#include <gmock/gmock.h>

namespace {

using namespace LK_2_13;
using testing::ElementsAre;
using testing::IsEmpty;

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
    m_strategy.candidates[ssLowPrioritySearchDirs] = {m_b, m_a};
    m_strategy.candidates[ssSystemDirs] = {m_c};
    m_validator.refused = {m_b};
    FoundFilesLazyIterator files(m_strategy, m_validator, 0x100000007);
    EXPECT_EQ(m_strategy.selector, 0x100000007U);
    EXPECT_THAT(m_strategy.ran, IsEmpty());

    EXPECT_EQ(files.next()->name(), m_a);
    EXPECT_EQ(m_strategy.ran.back(), ssHighPrioritySearchDirs);
    files.reset();
    EXPECT_THAT(test::namesOf(files), ElementsAre(m_a, m_c));
    EXPECT_THAT(m_strategy.ran,
                ElementsAre(ssArchiveSearchDirs, ssHighPrioritySearchDirs, ssAbsoluteNameLookup,
                            ssAroundBinaryLookup, ssLowPrioritySearchDirs, ssSystemDirs));
    EXPECT_FALSE(files.next());
    EXPECT_EQ(m_strategy.ran.size(), 6U);
}

TEST_F(LazyResults, FilesTheFirstEntryOfAPathInEachListApart) {
    FoundFilesLazyIterator files(m_strategy, m_validator, 0);
    std::string const otherForm = m_tree.root() + "/./a";
    EXPECT_FALSE(files.validateAndAdd("/none", ssAbsoluteNameLookup));
    EXPECT_TRUE(files.validateAndAdd(m_a.c_str(), ssAbsoluteNameLookup));
    EXPECT_FALSE(files.validateAndAdd(otherForm.c_str(), ssSystemDirs));
    m_validator.refused = {m_a, otherForm};
    EXPECT_FALSE(files.validateAndAdd(otherForm.c_str(), ssSystemDirs));
    EXPECT_FALSE(files.validateAndAdd(m_a.c_str(), ssAskUser));
    files.currentlyFoundInvalid()->reset();
    ObjectPtr<IInvalidFile> const invalid = files.currentlyFoundInvalid()->next();
    EXPECT_EQ(invalid->name(), m_a);
    ObjectPtr<IValidFile> const forced = invalid->forceTreatAsValid();
    EXPECT_EQ(forced->searchStep(), ssSystemDirs);
    EXPECT_EQ(forced->confidence(), cfValidated);
    EXPECT_FALSE(files.currentlyFoundInvalid()->next());
    files.currentlyFoundValid()->reset();
    EXPECT_THAT(test::namesOf(*files.currentlyFoundValid()), ElementsAre(m_a));
    EXPECT_THAT(m_strategy.ran, IsEmpty());
}

} // namespace
