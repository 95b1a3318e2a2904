#pragma once

#include <memory>

namespace toolbelt2 {

/// The shared pointer of the house: owns jointly, may be null, and its counter is safe
/// across threads.
template <typename T>
using sptr_t = std::shared_ptr<T>;

} // namespace toolbelt2
