#pragma once

#include <toolbelt2/export.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace toolbelt2 {

/// Lowercase hexadecimal digits, two for each byte.
TOOLBELT2_EXPORT std::string to_hex(void const* data, std::size_t size);

/// The same for an array, a vector or a text of bytes.
template <typename bytes_t>
std::string to_hex(bytes_t const& bytes) {
    static_assert(sizeof(*bytes.data()) == 1);
    return to_hex(bytes.data(), bytes.size());
}

/// The bytes that hexadecimal digits of either case stand for; nothing if there is any other
/// character, or an odd number of digits. The empty text stands for no bytes.
TOOLBELT2_EXPORT std::optional<std::vector<std::uint8_t>> from_hex(std::string_view text);

} // namespace toolbelt2
