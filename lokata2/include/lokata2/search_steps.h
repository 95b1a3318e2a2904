#pragma once

#include <lokata2/search_types.h>

namespace LK_2_13 {

/// Walks the steps of one search, in order. Belongs to one search. A new iterator is not
/// positioned: `reset` comes first.
class LOKATA2_EXPORT ISearchStepsIterator : public ILKObject {
public:
    /// To the first step.
    virtual void reset() = 0;
    /// Moves on. True if there is a step at the new position; at the end it stays and gives false.
    virtual bool next() = 0;
    /// False at the end, with `step` untouched.
    virtual bool current(search_step_t& step) = 0;
};

/// Says which steps a search of a category runs, and in which order. A client may put its own into
/// an environment. Used on the threads of the searches, set up before them.
class LOKATA2_EXPORT ISearchStepsConfigurator : public ILKObject {
public:
    /// The library's own: archive directories, high priority directories, cache directory, absolute
    /// name, around the binary, low priority directories, system directories, in this order. All
    /// but the cache directory are switched on at first. It ignores the steps selector.
    static ObjectPtr<ISearchStepsConfigurator> create();

    /// `stepsSelector` is what the caller passed to `IFileSearch::findBinFile`, 0 for symbol and
    /// source files. A new iterator at each call. Null makes a search without any steps, which is
    /// reported as an impossible state ("Null pointer", see brace/debug.h): a configurator that
    /// wants no steps gives an empty iterator.
    virtual ObjectPtr<ISearchStepsIterator>
    getSearchStepsIterator(search_category_t category, unsigned long long stepsSelector) = 0;
    /// Switches a step, or all steps of a union of bits, on or off for a category. Logs an error
    /// and changes nothing for a category without searches.
    virtual void setStep(search_step_t step, search_category_t category, bool enable) = 0;
};

} // namespace LK_2_13
