#pragma once

#include "console/exit_status.h"

namespace lokata::cli {

/// The whole program: reads the command line, runs the command it names and gives the exit status.
/// Does not throw.
ExitStatus runProgram(int argc, char const* const* argv);

} // namespace lokata::cli
