#pragma once

#include "context_chain.h"
#include "search_record.h"
#include "search_recorder.h"

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
    /// Throws `Failure` for options that make no sense. The search directories are captured, so
    /// that the store is read here and not with each step of each search; the store's exceptions
    /// pass through.
    SearchSession(SearchOptions const& options, History history);
    SearchSession(SearchSession const&) = delete;
    SearchSession& operator=(SearchSession const&) = delete;

    /// Runs one search. `validator` may be null. With `all` every step runs and every valid file is
    /// told, otherwise the search ends with the first one.
    SearchRecord find(SearchRequest const& request, LK_2_13::IValidatorCallback* validator,
                      bool all);

private:
    class Policy : public LK_2_13::IConfidenceLevelPolicyCallback {
    public:
        explicit Policy(std::string const& level);
        ~Policy() override { disconnectHandlers(); }
        LK_2_13::confidence_level_t getConfidenceLevel(LK_2_13::search_category_t,
                                                       unsigned int) override {
            return m_level;
        }

    private:
        LK_2_13::confidence_level_t m_level;
    };

    void registerDirs(SearchOptions const& options);
    void registerSteps(SearchOptions const& options);
    void registerCallbacks(History history);

    ContextChain m_chain;
    Policy m_policy;
    /// The callbacks that the manipulator calls must outlive it.
    SearchRecorder m_recorder;
    LK_2_13::ObjectPtr<LK_2_13::ISearchManipulator> m_pManipulator;
    LK_2_13::ObjectPtr<LK_2_13::IFileSearch> m_pSearch;
};

} // namespace lokata::cli
