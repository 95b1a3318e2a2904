#pragma once

/// Resolutions for a browser.

#include "profile/resolution.h"

#include <iosfwd>
#include <vector>

namespace lokata::profile {

/// Writes one page that needs no other file and no network, with a view for each input. It holds
/// the documents of toJson(); nothing of a recorded name can act as markup or script. What goes
/// wrong in writing shows in the state of the stream. Callable from any thread.
void writeHtml(std::ostream& out, std::vector<ProfileResolution> const& resolutions);

} // namespace lokata::profile
