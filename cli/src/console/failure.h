#pragma once

#include <stdexcept>

namespace lokata::cli {

/// Ends a command with `ExitStatus::failed`. The text is one line for the user that names the
/// argument or the file at fault, without the name of the program.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace lokata::cli
