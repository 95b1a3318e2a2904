#pragma once

#include "console/exit_status.h"

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata dirs`. Running it sets `exitStatus` or throws.
void addDirsCommand(CLI::App& program, ExitStatus& exitStatus);

} // namespace lokata::cli
