#pragma once

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata dirs`. Running it sets `exitStatus` or throws.
void addDirsCommand(CLI::App& program, int& exitStatus);

} // namespace lokata::cli
