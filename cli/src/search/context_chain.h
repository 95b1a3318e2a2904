#pragma once

#include "search/search_options.h"

#include <lokata2/context.h>

#include <string>
#include <vector>

namespace lokata::cli {

/// The library's contexts for one run of the program. Each inherits from the next: one for each
/// --archive, one for the result directory, one for each --context, and last that of the user. A
/// directory given twice counts at its first place, because contexts must not inherit in a circle.
/// Owns the manager, and with it what is registered.
class ContextChain {
public:
    explicit ContextChain(SearchOptions const& options);

    LK_2_13::IResolutionContextMgr& manager() const { return *m_pManager; }
    /// The first of the chain; what a command line gives beside contexts and archives is registered
    /// there.
    LK_2_13::ObjectPtr<LK_2_13::IResolutionContext> const& nearest() const {
        return m_contexts.front();
    }

private:
    void append(LK_2_13::ObjectPtr<LK_2_13::IResolutionContext> const& context);
    void addUserDirs(std::string const& store);

    LK_2_13::ObjectPtr<LK_2_13::IResolutionContextMgr> m_pManager;
    std::vector<LK_2_13::ObjectPtr<LK_2_13::IResolutionContext>> m_contexts;
};

} // namespace lokata::cli
