#pragma once

namespace LK_2_13 {

/// A null text of a caller counts as the empty text.
inline char const* orEmpty(char const* text) {
    return text != nullptr ? text : "";
}

} // namespace LK_2_13
