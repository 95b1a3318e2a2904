#pragma once

#include <lokata/profile/resolution.h>

#include <lokata2/search_env.h>

#include <string>

namespace lokata::cli {

/// True if `text` is the recorded name of the module, as it is or as it is printed, its last
/// component, or the build-id.
bool isNamed(profile::Module const& module, std::string const& text);

/// True if the name holds `text`, or the build-id begins with it, with four digits at least.
bool isPartOf(profile::Module const& module, std::string const& text);

/// What `resolve --explain` prints of what `text` names: for each of its files every candidate and
/// every step that had anywhere to look, in the order in which they were tried, and what became of
/// it; and the directories of `environment`, in which was searched, that could not be read. Named
/// are the modules and the source files of that recorded name or last component, and modules of
/// that build-id; if there are none, those whose name holds it, and modules whose build-id begins
/// with it. A candidate of several steps is listed with the first. Empty if nothing is named.
std::string explanation(profile::ProfileResolution const& resolution, std::string const& text,
                        LK_2_13::ISearchEnv& environment, bool colour);

} // namespace lokata::cli
