#pragma once

#include <lokata/profile/resolver.h>

#include <cstddef>
#include <functional>

namespace lokata::profile {

/// Does the pieces 0 to `count` - 1 of some work. For each thread.
using Worker = std::function<void(std::size_t piece)>;

/// Does `count` pieces of work on up to `threads` threads, each with a worker of its own, which
/// `makeWorker` gives on that thread. Pieces are begun in order; with one thread all is done on the
/// calling one. `progress`, which may be empty, is told on the calling thread and may skip numbers.
/// Once it gives false no piece is begun any more.
///
/// Gives how many pieces from the first on are done, one behind the other; all unless `progress`
/// ended it. What a worker throws is thrown here when all threads have ended.
std::size_t doInParallel(std::size_t count, std::size_t threads,
                         std::function<Worker()> const& makeWorker, Progress const& progress);

} // namespace lokata::profile
