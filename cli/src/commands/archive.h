#pragma once

#include "console/exit_status.h"

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata archive`. Running it sets `exitStatus` or throws.
void addArchiveCommand(CLI::App& program, ExitStatus& exitStatus);

} // namespace lokata::cli
