#pragma once

#include "console/exit_status.h"

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata resolve`. Running it sets `exitStatus` or throws.
void addResolveCommand(CLI::App& program, ExitStatus& exitStatus);

} // namespace lokata::cli
