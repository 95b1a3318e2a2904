#pragma once

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata archive`. Running it sets `exitStatus` or throws.
void addArchiveCommand(CLI::App& program, int& exitStatus);

} // namespace lokata::cli
