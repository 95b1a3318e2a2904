#pragma once

#include "search/archive_names.h"

#include <string>

namespace lokata::profile {

/// Writes a note into an archive, unless it is there already. False if that cannot be done.
bool archiveNote(Note const& note, std::string const& archive);

} // namespace lokata::profile
