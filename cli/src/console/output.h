#pragma once

#include <string>
#include <string_view>

namespace lokata::cli {

/// Writes all of `bytes` to standard output at once, unbuffered, so that what an interrupted
/// program has printed ends with a whole line, if `bytes` do. Throws `Failure` if it cannot be
/// written.
void writeOutput(std::string_view bytes);

/// The text as one line for a terminal: what could control it comes as `\xNN`, as in
/// profile::displayName(), but backslashes stay.
std::string printable(std::string_view text);

/// A path on a line of its own, for scripts: byte by byte, but printable on a terminal.
std::string pathLine(std::string const& path);

/// Writes "lokata: ", the printable text and a newline to standard error.
void reportError(std::string_view text);

/// The same with a word before the text that says that it is a warning.
void reportWarning(std::string_view text);

} // namespace lokata::cli
