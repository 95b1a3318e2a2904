#include "lk_search_steps_config.h"

#include "support/log_capture.h"

#include <gmock/gmock.h>

namespace {

using namespace LK_2_13;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<search_step_t> steps(ObjectPtr<ISearchStepsIterator> const& iterator) {
    std::vector<search_step_t> result;
    search_step_t step{};
    iterator->reset();
    for (bool more = iterator->current(step); more; more = iterator->next()) {
        EXPECT_TRUE(iterator->current(step));
        result.push_back(step);
    }
    return result;
}

class SearchSteps : public testing::Test {
protected:
    std::vector<search_step_t> of(search_category_t category) {
        return steps(m_configurator->getSearchStepsIterator(category, 1));
    }

    ObjectPtr<ISearchStepsConfigurator> m_configurator = ISearchStepsConfigurator::create();
};

TEST_F(SearchSteps, RunAllButTheCacheInAFixedOrderByDefault) {
    for (search_category_t const category : {scBinaryFiles, scSymbolFiles, scSourceFiles})
        EXPECT_THAT(of(category),
                    ElementsAre(ssArchiveSearchDirs, ssHighPrioritySearchDirs, ssAbsoluteNameLookup,
                                ssAroundBinaryLookup, ssLowPrioritySearchDirs, ssSystemDirs));
}

TEST_F(SearchSteps, AreSwitchedForOneCategory) {
    m_configurator->setStep(ssCacheSearchDir, scSymbolFiles, true);
    m_configurator->setStep(search_step_t(ssSystemDirs | ssArchiveSearchDirs), scSourceFiles,
                            false);
    EXPECT_EQ(of(scSymbolFiles).size(), 7U);
    EXPECT_EQ(of(scSymbolFiles)[2], ssCacheSearchDir);
    EXPECT_THAT(of(scSourceFiles), ElementsAre(ssHighPrioritySearchDirs, ssAbsoluteNameLookup,
                                               ssAroundBinaryLookup, ssLowPrioritySearchDirs));
    EXPECT_EQ(of(scBinaryFiles).size(), 6U);
}

TEST_F(SearchSteps, LeaveOutWhatNoOperationBelongsTo) {
    DefaultSearchStepsConfigurator configurator;
    EXPECT_EQ(steps(configurator.getSearchStepsIterator(255)).size(), 7U);
    EXPECT_THAT(steps(configurator.getSearchStepsIterator(~255 | ssAskUser)), IsEmpty());
}

TEST_F(SearchSteps, AreRefusedForACategoryWithoutSearches) {
    DefaultSearchStepsConfigurator configurator;
    test::LogCapture log(log4cplus::ERROR_LOG_LEVEL);
    configurator.setStep(search_step_t(255), scAllFiles, false);
    EXPECT_THAT(log.text(), HasSubstr("Unsupported search category, at file: "));
    for (search_category_t const category : {scBinaryFiles, scSymbolFiles, scSourceFiles})
        EXPECT_EQ(configurator.getSearchStepsMask(category), 63);
    EXPECT_EQ(log.records().size(), 1U);

    EXPECT_THAT(steps(configurator.getSearchStepsIterator(scAllFiles, 0)), IsEmpty());
    EXPECT_THAT(log.text(), HasSubstr("Unexpected value., at file: "));
}

TEST_F(SearchSteps, StayAtTheEndUntilReset) {
    ObjectPtr<ISearchStepsIterator> const iterator =
        DefaultSearchStepsConfigurator().getSearchStepsIterator(ssSystemDirs);
    search_step_t step = ssAskUser;
    iterator->reset();
    EXPECT_FALSE(iterator->next());
    EXPECT_FALSE(iterator->next());
    EXPECT_FALSE(iterator->current(step));
    EXPECT_EQ(step, ssAskUser);
    iterator->reset();
    EXPECT_TRUE(iterator->current(step));
    EXPECT_EQ(step, ssSystemDirs);
}

} // namespace
