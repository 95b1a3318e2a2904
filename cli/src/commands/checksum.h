#pragma once

#include "console/exit_status.h"

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata checksum`. Running it sets `exitStatus` or throws.
void addChecksumCommand(CLI::App& program, ExitStatus& exitStatus);

} // namespace lokata::cli
