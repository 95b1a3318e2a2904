#pragma once

#include "search/search_record.h"

#include <string>

/// What `find` prints of a search.
namespace lokata::cli {

/// The paths of the files found, one per line and printable.
std::string foundPaths(SearchRecord const& record);

/// One printable line for each file found or rejected: step, confidence or severity, and message.
std::string explanation(SearchRecord const& record, bool colour);

/// One JSON object and a newline; `run --json` prints it for each request. Bytes that are not UTF-8
/// become U+FFFD.
std::string jsonLine(SearchRecord const& record);

} // namespace lokata::cli
