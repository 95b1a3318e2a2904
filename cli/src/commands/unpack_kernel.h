#pragma once

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata unpack-kernel`. Running it sets `exitStatus` or throws.
void addUnpackKernelCommand(CLI::App& program, int& exitStatus);

} // namespace lokata::cli
