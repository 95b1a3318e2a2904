#include <toolbelt2/hex.h>

#include <charconv>

namespace toolbelt2 {

std::string to_hex(void const* data, std::size_t size) {
    static constexpr char c_digits[] = "0123456789abcdef";
    auto const* const bytes = static_cast<unsigned char const*>(data);
    std::string text;
    text.reserve(2 * size);
    for (std::size_t i = 0; i < size; ++i) {
        text += c_digits[bytes[i] >> 4];
        text += c_digits[bytes[i] & 0xF];
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> from_hex(std::string_view text) {
    if (text.size() % 2 != 0)
        return std::nullopt;
    std::vector<std::uint8_t> bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char const* const end = text.data() + 2 * i + 2;
        if (std::from_chars(end - 2, end, bytes[i], 16).ptr != end)
            return std::nullopt;
    }
    return bytes;
}

} // namespace toolbelt2
