#pragma once

#include "search/context_chain.h"
#include "search/search_options.h"

#include <lokata2/callbacks.h>

#include <string>

namespace lokata::cli {

/// What the options of a search make of the library's contexts: directories, steps and policy,
/// registered for this program. Must outlive the environments made of it.
class SearchSurroundings {
public:
    static constexpr char const* c_clientId = "lokata";

    /// Throws `Failure` for options that make no sense. The search directories are captured, so
    /// that the store is read here and not with each step of each search; the store's exceptions
    /// pass through.
    explicit SearchSurroundings(SearchOptions const& options);
    SearchSurroundings(SearchSurroundings const&) = delete;
    SearchSurroundings& operator=(SearchSurroundings const&) = delete;

    ContextChain const& chain() const { return m_chain; }
    /// For the kernel of the given release; empty for an unknown one.
    LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> environment(std::string const& kernelRelease) const;

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

    ContextChain m_chain;
    Policy m_policy;
};

} // namespace lokata::cli
