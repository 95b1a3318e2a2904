#include "lk_search_steps_config.h"

#include "lk_log.h"

namespace LK_2_13 {

namespace {

constexpr search_step_t c_stepsInOrder[] = {
    ssArchiveSearchDirs,  ssHighPrioritySearchDirs, ssCacheSearchDir, ssAbsoluteNameLookup,
    ssAroundBinaryLookup, ssLowPrioritySearchDirs,  ssSystemDirs};

} // namespace

DefaultSearchStepsIterator::DefaultSearchStepsIterator(int) {
    DefaultSearchStepsIterator::reset();
}

void DefaultSearchStepsIterator::reset() {
    m_current = 0;
}

bool DefaultSearchStepsIterator::next() {
    if (m_current == m_steps.size())
        return false;
    ++m_current;
    return m_current != m_steps.size();
}

bool DefaultSearchStepsIterator::current(search_step_t& step) {
    if (m_current == m_steps.size())
        return false;
    step = m_steps[m_current];
    return true;
}

void DefaultSearchStepsIterator::add(search_step_t step) {
    m_steps.push_back(step);
}

ObjectPtr<ISearchStepsConfigurator> ISearchStepsConfigurator::create() {
    return new DefaultSearchStepsConfigurator;
}

ObjectPtr<ISearchStepsIterator>
DefaultSearchStepsConfigurator::getSearchStepsIterator(search_category_t category,
                                                       unsigned long long /*stepsSelector*/) {
    return getSearchStepsIterator(getSearchStepsMask(category));
}

void DefaultSearchStepsConfigurator::setStep(search_step_t step, search_category_t category,
                                             bool enable) {
    auto const mask = maskOf(category);
    if (mask == nullptr) {
        LK_LOG_ERROR("Unsupported search category");
        return;
    }
    if (enable)
        this->*mask |= step;
    else
        this->*mask &= ~static_cast<mask_t>(step);
}

int DefaultSearchStepsConfigurator::getSearchStepsMask(search_category_t category) const {
    auto const mask = maskOf(category);
    if (mask == nullptr) {
        LK_LOG_ERROR("Unexpected value.");
        return 0;
    }
    return static_cast<int>(this->*mask);
}

ObjectPtr<ISearchStepsIterator> DefaultSearchStepsConfigurator::getSearchStepsIterator(int mask) {
    auto* const steps = new DefaultSearchStepsIterator(mask);
    ObjectPtr<ISearchStepsIterator> result(steps);
    for (search_step_t const step : c_stepsInOrder)
        if ((static_cast<mask_t>(mask) & step) != 0)
            steps->add(step);
    return result;
}

DefaultSearchStepsConfigurator::mask_t DefaultSearchStepsConfigurator::*
DefaultSearchStepsConfigurator::maskOf(search_category_t category) {
    switch (category) {
    case scBinaryFiles:
        return &DefaultSearchStepsConfigurator::m_binSteps;
    case scSymbolFiles:
        return &DefaultSearchStepsConfigurator::m_symSteps;
    case scSourceFiles:
        return &DefaultSearchStepsConfigurator::m_srcSteps;
    default:
        return nullptr;
    }
}

} // namespace LK_2_13
