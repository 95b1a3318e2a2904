#pragma once

#include <chrono>
#include <cstdint>

namespace lokata::profile {

/// Wall clock time.
inline std::uint64_t microsecondsSince(std::chrono::steady_clock::time_point start) {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          std::chrono::steady_clock::now() - start)
                                          .count());
}

} // namespace lokata::profile
