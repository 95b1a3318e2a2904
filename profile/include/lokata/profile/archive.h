#pragma once

/// Keeps the files of a resolved profile, so that it can be resolved without the machine that it
/// was recorded on.

#include <lokata/profile/resolution.h>

#include <cstddef>
#include <string>
#include <vector>

namespace lokata::profile {

struct ArchiveOutcome {
    std::size_t added = 0;           ///< Files that were not in the archive before.
    std::size_t kept = 0;            ///< Files that were.
    std::vector<std::string> errors; ///< For a person; one for each file that could not be kept.
};

/// Copies every file found into the archive below `directory`, which is made if it is missing. Each
/// goes to its category, supplementary files to the symbols, under the name by which a search with
/// that archive alone looks for it. Symbols that stand in the binary itself need no copy.
LOKATA_PROFILE_EXPORT ArchiveOutcome archiveFiles(ProfileResolution const& resolution,
                                                  std::string const& directory);

} // namespace lokata::profile
