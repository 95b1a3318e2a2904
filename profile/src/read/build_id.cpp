#include <lokata/profile/build_id.h>

#include <charconv>

namespace lokata::profile {

bool isBuildId(std::string_view bytes) {
    return bytes.size() >= c_minBuildId && bytes.size() <= c_maxBuildId &&
           bytes.find_first_not_of('\0') != std::string_view::npos;
}

BuildId buildIdOf(std::string_view bytes) {
    return isBuildId(bytes) ? BuildId(bytes.begin(), bytes.end()) : BuildId();
}

std::string toHex(BuildId const& buildId) {
    constexpr std::string_view c_digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * buildId.size());
    for (auto const byte : buildId) {
        text += c_digits[byte >> 4];
        text += c_digits[byte & 0xf];
    }
    return text;
}

BuildId buildIdFromHex(std::string_view text) {
    if (text.size() % 2 != 0)
        return {};
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        std::uint8_t value = 0;
        auto const end = text.data() + i + 2;
        if (std::from_chars(text.data() + i, end, value, 16).ptr != end)
            return {};
        bytes.push_back(static_cast<char>(value));
    }
    return buildIdOf(bytes);
}

} // namespace lokata::profile
