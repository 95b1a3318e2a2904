#pragma once

#include <lokata/profile/resolution.h>

#include <cstddef>
#include <string>

/// A resolution as text for a person. Foreign names come out printable.
namespace lokata::cli {

struct TableStyle {
    /// In columns: longer file names are cut at their front. 0 does not cut.
    std::size_t width = 0;
    bool colour = false;
};

/// A line for each module that was found, most samples first, then what is missing and why, then
/// the renamed prefixes that were learned. Memory without a file is left out unless it has samples.
std::string moduleTable(profile::ProfileResolution const& resolution, TableStyle const& style);

/// How many of the source files of each directory were found; empty if none were looked for.
std::string sourceTable(profile::ProfileResolution const& resolution);

/// One line.
std::string resolutionSummary(profile::ProfileResolution const& resolution);

/// The word for what led to a file: the place that suggested it, or the name of the step.
std::string originOf(profile::FileResolution const& file);

} // namespace lokata::cli
