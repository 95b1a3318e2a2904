#pragma once

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata run`. Running it sets `exitStatus` or throws.
void addRunCommand(CLI::App& program, int& exitStatus);

} // namespace lokata::cli
