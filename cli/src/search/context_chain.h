#pragma once

#include "search/search_options.h"

#include <lokata2/context.h>

#include <string>
#include <vector>

namespace lokata::cli {

/// The contexts of one run of the program, linked with each other, nearest first: one for each
/// --archive, the result directory, each --context, and above all the user. A directory that comes
/// twice counts at its first place, so that the links never close to a ring. Holds the manager and
/// so keeps what is registered.
class ContextChain {
public:
    explicit ContextChain(SearchOptions const& options);

    LK_2_13::IResolutionContextMgr& manager() const { return *m_pManager; }
    /// What a command line gives beside contexts and archives belongs here.
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
