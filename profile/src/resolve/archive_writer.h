#pragma once

#include "search/archive_names.h"

#include <string>

namespace lokata::profile {

/// Writes a note into an archive, unless it is there already. Gives what the system says if that
/// cannot be done, or else the empty text.
std::string archiveNote(Note const& note, std::string const& archive);

} // namespace lokata::profile
