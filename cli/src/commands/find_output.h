#pragma once

#include "search/search_record.h"
#include "search/searched_places.h"

#include <string>
#include <vector>

/// What `find` prints of a search.
namespace lokata::cli {

/// The paths of the files found, one per line and printable.
std::string foundPaths(SearchRecord const& record);

/// One printable line for each file found or rejected: step, and proof or reason.
/// Where nothing was found, one more for each place that was searched, and for each directory that
/// could not be read.
std::string explanation(SearchRecord const& record, std::vector<SearchedPlace> const& places,
                        bool colour);

/// In one line, for a search that found nothing.
std::string whereItLooked(SearchRecord const& record, std::vector<SearchedPlace> const& places);

/// One JSON object and a newline; `run --json` prints it for each request. Bytes that are not UTF-8
/// become U+FFFD.
std::string jsonLine(SearchRecord const& record);

} // namespace lokata::cli
