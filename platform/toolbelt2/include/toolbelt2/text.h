#pragma once

#include <string_view>

namespace toolbelt2 {

constexpr bool starts_with(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

constexpr bool ends_with(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

} // namespace toolbelt2
