#pragma once

#include <CLI/CLI.hpp>

namespace lokata::cli {

/// Declares `lokata checksum`. Running it sets `exitStatus` or throws.
void addChecksumCommand(CLI::App& program, int& exitStatus);

} // namespace lokata::cli
