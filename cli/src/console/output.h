#pragma once

#include <string>
#include <string_view>

namespace lokata::cli {

/// Writes all of `bytes` to standard output at once, unbuffered, so that what an interrupted
/// program has printed ends with a whole line. Throws `Failure` if it cannot be written.
void writeOutput(std::string_view bytes);

/// Writes "lokata: ", the text and a newline to standard error.
void reportError(std::string_view text);

} // namespace lokata::cli
