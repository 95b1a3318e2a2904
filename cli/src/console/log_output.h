#pragma once

namespace lokata::cli {

/// Shows the library's log on standard error: the course of a search with 1, each function that is
/// entered and left too with 2 or more. Does nothing with 0. Call it once, before any search.
void showLog(int verbosity);

} // namespace lokata::cli
