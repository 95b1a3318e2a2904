#pragma once

#include <stdexcept>

namespace lokata::unpack {

/// A failure with the sentence for the user; never leaves the public functions.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace lokata::unpack
