#pragma once

#include "search/context_chain.h"
#include "search/search_options.h"

#include <lokata2/callbacks.h>

#include <string>

namespace lokata::cli {

/// Registers what the options of a search say with the library's contexts: directories, steps and
/// policy. Must outlive the environments that it creates.
class SearchSetup {
public:
    static constexpr char const* c_clientId = "lokata";

    /// Throws `Failure` for options that make no sense, and lets the exceptions of the store pass.
    /// Reads the search directories of the store once, so that the searches do not read it with
    /// each step.
    explicit SearchSetup(SearchOptions const& options);
    SearchSetup(SearchSetup const&) = delete;
    SearchSetup& operator=(SearchSetup const&) = delete;

    ContextChain const& chain() const { return m_chain; }
    /// For searches on behalf of a kernel of that release; empty if it is not known.
    LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> environment(std::string const& kernelRelease) const;

private:
    class FixedPolicy : public LK_2_13::IConfidenceLevelPolicyCallback {
    public:
        explicit FixedPolicy(LK_2_13::confidence_level_t level) : m_level(level) {}
        ~FixedPolicy() override { disconnectHandlers(); }
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
    /// Registered with the chain, where its end takes it out again; so it stands behind the chain.
    FixedPolicy m_policy;
};

} // namespace lokata::cli
