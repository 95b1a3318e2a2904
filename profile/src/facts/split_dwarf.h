#pragma once

/// Split DWARF: debug information that a binary or symbol file leaves in other files. Section 7.3.2
/// of DWARF 5 defines it, and the GNU extensions to DWARF 4 before.

#include "facts/file_memo.h"

#include <lokata/profile/export.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lokata::profile {

/// One skeleton unit: what is left where the debug information was.
struct SplitUnit {
    /// Of the .dwo file, in bytes from the file, not checked; empty if it cannot be told.
    std::string name;
    /// Of the compilation: a relative name is below it. Empty if it cannot be told.
    std::string directory;
    /// By it the unit is known in a .dwo file or in a package of them. 0 if there is none.
    std::uint64_t id = 0;
};

struct SplitDwarf {
    std::vector<SplitUnit> units; ///< In the order of the file.
    std::string error;            ///< Why nothing, or not all, could be read.
};

/// What a binary or symbol file leaves to others. Callable from any thread.
SplitDwarf readSplitDwarf(std::string const& path);

/// What a .dwo file or a package (.dwp) holds: units that can be read, by their starts.
struct SplitContents {
    std::vector<std::uint64_t> ids; ///< Ascending; none twice, and no 0.
    std::string error;              ///< Why nothing, or not all, could be read.
};

/// Callable from any thread.
SplitContents readSplitContents(std::string const& path);

/// Remembers what files hold.
using SplitContentsCache = FileMemo<std::shared_ptr<SplitContents const>>;

} // namespace lokata::profile
