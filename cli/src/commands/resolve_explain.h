#pragma once

#include <lokata/profile/resolution.h>

#include <string>

namespace lokata::cli {

/// What `resolve --explain` prints: for each module of that recorded name, last component or
/// build-id every candidate for its files, in the order in which they were tried, and what became
/// of it. A candidate of several steps is listed with the first. Empty if there is no such module.
std::string moduleExplanation(profile::ProfileResolution const& resolution,
                              std::string const& module, bool colour);

} // namespace lokata::cli
