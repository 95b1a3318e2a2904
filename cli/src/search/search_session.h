#pragma once

#include "search/search_record.h"
#include "search/search_recorder.h"
#include "search/search_surroundings.h"

#include <lokata2/file_search.h>
#include <lokata2/search_manipulator.h>
#include <lokata2/validator.h>

#include <string>

namespace lokata::cli {

/// How a session uses what it found for earlier, equal requests.
enum class History {
    off,     ///< each request is searched
    suggest, ///< an earlier answer is tried first; if it does not hold any more, the search goes on
    only     ///< an earlier answer is the only one
};

/// The searches of one run of the program: the contexts, the environment made of them, and what is
/// common to all searches in it. For one thread.
class SearchSession {
public:
    /// Throws what `SearchSurroundings` throws.
    SearchSession(SearchOptions const& options, History history);
    SearchSession(SearchSession const&) = delete;
    SearchSession& operator=(SearchSession const&) = delete;

    /// Runs one search. `validator` may be null. With `all` every step runs and every valid file is
    /// told, otherwise the search ends with the first one.
    SearchRecord find(SearchRequest const& request, LK_2_13::IValidatorCallback* validator,
                      bool all);

private:
    void registerCallbacks(History history);

    SearchSurroundings m_surroundings;
    /// The callbacks that the manipulator calls must outlive it.
    SearchRecorder m_recorder;
    LK_2_13::ObjectPtr<LK_2_13::ISearchManipulator> m_pManipulator;
    LK_2_13::ObjectPtr<LK_2_13::IFileSearch> m_pSearch;
};

} // namespace lokata::cli
