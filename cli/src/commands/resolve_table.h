#pragma once

#include <lokata/profile/resolution.h>

#include <cstddef>
#include <iosfwd>
#include <string>

/// What `resolve` prints for a person. Names pass displayName(), so that a recorded one cannot
/// control the terminal.
namespace lokata::cli {

struct TableStyle {
    /// Of a line, in columns; longer file names are cut at their front. 0: nothing is cut.
    std::size_t width = 0;
    bool colour = false;
    /// Of a profile with samples, modules without any come behind the others; else their number.
    bool all_modules = false;
};

/// A line for each module that was found, most samples first, then what is missing and why, then
/// the renamed prefixes that were learned and led to a file. Memory without a file is listed only
/// if it has samples. On a narrow terminal columns are left out, and on a very narrow one each
/// module takes two lines. False if nothing was written.
bool writeModuleTable(std::ostream& out, profile::ProfileResolution const& resolution,
                      TableStyle const& style);

/// The word for what led to a file: the place that suggested it, or the name of the step.
std::string originOf(profile::FileResolution const& file);

} // namespace lokata::cli
