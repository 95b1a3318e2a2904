#pragma once

#include "console/exit_status.h"

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// `lokata index`: fills the index of what files hold, tells its state, or removes it.
void addIndexCommand(CLI::App& program, ExitStatus& exitStatus);

} // namespace lokata::cli
