#pragma once

namespace lokata::cli {

/// The exit statuses of the program. `interrupted` is a mark between its parts only: the process
/// then ends by the signal itself, which shells show as this number.
enum class ExitStatus { done = 0, not_found = 1, failed = 2, interrupted = 130 };

} // namespace lokata::cli
