#pragma once

#include <stdexcept>

namespace LK_2_13 {

/// A null text of a caller counts as the empty text.
inline char const* orEmpty(char const* text) {
    return text != nullptr ? text : "";
}

/// A null text where one is required raises `std::logic_error` before anything changes.
inline char const* requiredText(char const* text) {
    if (text == nullptr)
        throw std::logic_error("a null text is not allowed here");
    return text;
}

} // namespace LK_2_13
