#pragma once

#include "console/exit_status.h"

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata run`. Running it sets `exitStatus` or throws.
void addRunCommand(CLI::App& program, ExitStatus& exitStatus);

} // namespace lokata::cli
