#pragma once

#include <brace/export.h>

/// Reports of states that cannot be. A report is not an error of the user: it says that the
/// program itself is wrong, and the program goes on.
namespace BRACE_2_18::debug {

/// Gets each report: what is impossible, and the source file and the function that saw it.
/// None of the texts is null; they live for the call only. It runs on the thread that reports,
/// any number of threads may be in it at once, and it must not throw.
using handler_t = void (*)(char const* text, char const* file, char const* function);

/// Hands a report to the handler in force. A null text counts as empty. Safe from any thread.
BRACE_EXPORT void report(char const* text, char const* file, char const* function) noexcept;

/// Puts a handler in force for the whole process; null stands for the default one, which writes a
/// line to stderr. Gives the handler that was in force, never null. Safe from any thread; a report
/// that began before may still be in the old handler when this returns.
BRACE_EXPORT handler_t set_handler(handler_t handler) noexcept;

} // namespace BRACE_2_18::debug
