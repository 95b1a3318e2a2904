#pragma once

namespace lokata::cli {

/// Shows the log of the libraries on standard error: the course of each search and what became of
/// each candidate with 1, each function that is entered and left too with 2 or more. Does nothing
/// with 0. Call it once, before any search.
void showLog(int verbosity);

} // namespace lokata::cli
