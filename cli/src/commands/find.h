#pragma once

#include "console/exit_status.h"

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata find`. Running it sets `exitStatus` or throws.
void addFindCommand(CLI::App& program, ExitStatus& exitStatus);

} // namespace lokata::cli
