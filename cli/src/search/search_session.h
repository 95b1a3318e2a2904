#pragma once

#include "search/checksum_histories.h"
#include "search/every_file.h"
#include "search/kernel_copies.h"
#include "search/search_record.h"
#include "search/search_recorder.h"
#include "search/search_setup.h"
#include "search/searched_places.h"

#include <lokata/profile/archived_copy_validator.h>

#include <lokata2/file_search.h>
#include <lokata2/search_manipulator.h>
#include <lokata2/validator.h>

#include <memory>
#include <string>

namespace lokata::cli {

/// What a session does with its answer to an earlier, equal request.
enum class History {
    off,     ///< Nothing: each request is searched.
    suggest, ///< It is tried first; if it does not hold any more, the search goes on.
    only     ///< It is tried alone.
};

constexpr profile::Word<History> c_histories[]{
    {History::off, "off"},
    {History::suggest, "suggest"},
    {History::only, "only"},
};

/// Runs the searches of one run of the program, one after the other, in one environment. For one
/// thread.
class SearchSession {
public:
    /// Throws what `SearchSetup` throws.
    SearchSession(SearchOptions const& options, History history);
    SearchSession(SearchSession const&) = delete;
    SearchSession& operator=(SearchSession const&) = delete;

    /// Runs one search. A name with ".." in it finds nothing outside of the places that are
    /// searched. `validator` may be null. With `all` every step runs and the record lists
    /// every valid file, otherwise the search ends with the first one.
    SearchRecord find(SearchRequest const& request, LK_2_13::IValidatorCallback* validator,
                      bool all);

    /// Where the search for it looks, but for suggestions.
    std::vector<SearchedPlace> places(SearchRequest const& request) const;

private:
    void registerCallbacks(History history);

    // Each refers to some above it, so that the order matters.
    SearchSetup m_setup;
    SearchRecorder m_recorder; ///< Holds the callbacks of the manipulator.
    LK_2_13::ObjectPtr<ChecksumHistories> m_pHistories;
    LK_2_13::ObjectPtr<LK_2_13::ISearchManipulator> m_pManipulator;
    std::unique_ptr<profile::ArchivedCopyValidator> m_pCopies;
    KernelCopies m_validator; ///< The outermost of them, over `m_pCopies`.
    EveryFile m_every;        ///< Over `m_validator`.
    LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> m_pEnvironment;
    LK_2_13::ObjectPtr<LK_2_13::IFileSearch> m_pSearch;
};

} // namespace lokata::cli
