#pragma once

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata resolve`. Running it sets `exitStatus` or throws.
void addResolveCommand(CLI::App& program, int& exitStatus);

} // namespace lokata::cli
