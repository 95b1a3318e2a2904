#pragma once

/// The search for the debug information that the symbols of a module leave in other files: for a
/// package of all, then for the .dwo files of the units that are not in it.

#include "search/module_search.h"

#include <functional>
#include <string>
#include <vector>

namespace lokata::profile {

/// Whose split DWARF is looked for.
struct SplitOwner {
    std::string name;    ///< The binary as it was recorded.
    std::string binary;  ///< The file that was found; empty if none.
    std::string symbols; ///< The file that was found; may be the binary.
};

/// Empty for symbols that leave nothing to other files.
Boxed<SplitResolution> findSplitDwarf(ModuleSearch& search, SearchSupport& support,
                                      SplitOwner const& owner);

/// Looks for each .dwo file that is still missing at what `candidates` gives for its name.
void trySplitDwarf(ModuleSearch& search, SearchSupport& support, SplitOwner const& owner,
                   std::function<std::vector<Candidate>(std::string const&)> const& candidates,
                   SplitResolution& result);

} // namespace lokata::profile
