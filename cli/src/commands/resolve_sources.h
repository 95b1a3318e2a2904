#pragma once

#include "commands/resolve_table.h"

#include <lokata/profile/resolution.h>

#include <iosfwd>
#include <string>

/// What `resolve --sources` prints of source files.
namespace lokata::cli {

/// How many of the source files of each directory were found, proven, refused and not met. False if
/// none were looked for; then nothing was written.
bool writeSourceTable(std::ostream& out, profile::ProfileResolution const& resolution,
                      TableStyle const& style);

/// Each source file that the modules name which `text` names, with what became of it and why; the
/// modules as for --explain. False if it names none; then nothing was written.
bool writeSourcesOf(std::ostream& out, profile::ProfileResolution const& resolution,
                    std::string const& text, TableStyle const& style);

} // namespace lokata::cli
