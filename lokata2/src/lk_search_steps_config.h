#pragma once

#include <lokata2/search_steps.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace LK_2_13 {

/// Must be reset before first use, as any iterator of steps.
class DefaultSearchStepsIterator : public RefCountImpl<ISearchStepsIterator> {
public:
    /// The argument is ignored; the steps come by `add`.
    explicit DefaultSearchStepsIterator(int);

    void reset() override;
    bool next() override;
    bool current(search_step_t& step) override;

    /// Appends a step.
    void add(search_step_t step);

private:
    std::vector<search_step_t> m_steps;
    std::size_t m_current;
};

/// A mask of steps for each category. No lock: steps are switched before searches run.
class DefaultSearchStepsConfigurator : public RefCountImpl<ISearchStepsConfigurator> {
public:
    ObjectPtr<ISearchStepsIterator>
    getSearchStepsIterator(search_category_t category, unsigned long long stepsSelector) override;
    void setStep(search_step_t step, search_category_t category, bool enable) override;

    /// 0, with an error on the log, for a category without searches.
    int getSearchStepsMask(search_category_t category) const;
    /// The steps of the mask in the order of the search. `ssAskUser`, which no operation belongs
    /// to, and unknown bits are left out.
    ObjectPtr<ISearchStepsIterator> getSearchStepsIterator(int mask);

private:
    using mask_t = std::uint32_t;

    /// Null for a category without searches.
    static mask_t DefaultSearchStepsConfigurator::*maskOf(search_category_t category);

    /// All steps but `ssAskUser` and `ssCacheSearchDir`.
    static constexpr mask_t c_defaultSteps = 63;

    mask_t m_binSteps = c_defaultSteps;
    mask_t m_symSteps = c_defaultSteps;
    mask_t m_srcSteps = c_defaultSteps;
};

} // namespace LK_2_13
