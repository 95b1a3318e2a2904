#pragma once

#include <lokata/profile/resolution.h>

#include <string>

namespace lokata::cli {

/// For each module of that recorded name, last component or build-id: every candidate of the
/// searches for its files, in the order in which they were tried, and what became of it. Empty if
/// there is no such module. A file that several steps met stands where it was met first.
std::string moduleExplanation(profile::ProfileResolution const& resolution,
                              std::string const& module, bool colour);

} // namespace lokata::cli
