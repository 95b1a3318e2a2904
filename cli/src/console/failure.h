#pragma once

#include <stdexcept>

namespace lokata::cli {

/// The exit statuses of the program. `esInterrupted` is a mark between its parts only: the process
/// then ends by the signal itself, which shells show as this number.
enum ExitStatus : int { esDone = 0, esNotFound = 1, esFailed = 2, esInterrupted = 130 };

/// Ends a command with `esFailed`. The text is one line for the user that names the argument or
/// the file at fault, without the name of the program.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace lokata::cli
