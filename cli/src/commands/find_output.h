#pragma once

#include "search/search_record.h"

#include <string>

/// What `find` prints of a search. Paths are bytes and are printed as they are; only JSON must be
/// UTF-8, where other bytes become U+FFFD.
namespace lokata::cli {

/// The path of each file found, one per line.
std::string foundPaths(SearchRecord const& record);

/// One line for each file found or rejected: step, confidence or severity, and message.
std::string explanation(SearchRecord const& record, bool colour);

/// One JSON object and a newline; `run --json` prints it for each request.
std::string jsonLine(SearchRecord const& record);

} // namespace lokata::cli
