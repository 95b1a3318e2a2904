#pragma once

#include "console/exit_status.h"

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata unpack-kernel`. Running it sets `exitStatus` or throws.
void addUnpackKernelCommand(CLI::App& program, ExitStatus& exitStatus);

} // namespace lokata::cli
