#pragma once

#include "search/search_record.h"

#include <string>

/// What is printed of a search. Paths are bytes and come out raw, but for JSON, which is UTF-8
/// whatever a name holds: other bytes show as U+FFFD.
namespace lokata::cli {

/// The path of each file found, one a line.
std::string foundPaths(SearchRecord const& record);

/// One line for each file found and refused: step, confidence or severity, and message.
std::string explanation(SearchRecord const& record, bool colour);

/// One JSON object and a newline.
std::string jsonLine(SearchRecord const& record);

/// Category, name and path, with tabs between them and "-" for the path of a file not found.
std::string resultLine(SearchRecord const& record);

} // namespace lokata::cli
