#pragma once

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata find`. Running it sets `exitStatus` or throws.
void addFindCommand(CLI::App& program, int& exitStatus);

} // namespace lokata::cli
