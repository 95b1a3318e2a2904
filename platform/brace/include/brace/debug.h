#pragma once

#include <brace/export.h>

/// Reports of states that cannot be. A report is not an error of the user: it says that the
/// program itself is wrong, and the program goes on.
namespace BRACE_2_18::debug {

/// Writes to stderr, as one line, what is impossible and the source file and the function that saw
/// it. A null text counts as empty. Safe from any thread.
BRACE_EXPORT void report(char const* text, char const* file, char const* function) noexcept;

} // namespace BRACE_2_18::debug
