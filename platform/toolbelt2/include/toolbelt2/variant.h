#pragma once

#include <toolbelt2/export.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <variant>

namespace toolbelt2 {

/// Those type numbers of variant_t that have a meaning here. They lie in stores on disk and
/// are never given anew. Another number can come out of a store that another program wrote;
/// it is kept as it is.
enum variant_type_t : std::int32_t {
    vtBoolean = 0,
    vtUint8 = 3,
    vtUint64 = 9,
    vtText = 12,    ///< Narrow text, UTF-8 by intent but any bytes, as a file name is.
    vtBinary = 13,  ///< Bytes that are no text.
    vtLongText = 14 ///< The second kind of text, written for long texts by other programs.
};

/// One value with its type number: 64 bits, or a text. A plain value: copies are
/// independent, and concurrent reading is safe.
class TOOLBELT2_EXPORT variant_t {
public:
    /// A boolean (type 0) or an unsigned 8-bit integer (type 3). Any other type of argument
    /// does not compile, so that neither an int nor a pointer turns into a boolean unseen.
    template <typename T, typename = std::enable_if_t<std::is_same_v<T, bool> ||
                                                      std::is_same_v<T, std::uint8_t>>>
    variant_t(T value)
        : m_type(std::is_same_v<T, bool> ? vtBoolean : vtUint8)
        , m_content(static_cast<std::uint64_t>(value)) {}

    /// A text (type 12).
    variant_t(std::string text);

    /// A text (type 12), copied; null is the empty text.
    variant_t(char const* text);

    /// A value of 64 bits under any type number, as a store brings it back: integers in
    /// two's complement, a double by its bits.
    static variant_t from_bits(variant_type_t type, std::uint64_t bits);

    /// A text under any type number, as a store brings it back.
    static variant_t from_text(variant_type_t type, std::string text);

    /// The type number, not necessarily one with a name.
    variant_type_t type() const { return m_type; }

    /// True if the content is a text, whatever the type number says.
    bool is_text() const { return std::holds_alternative<std::string>(m_content); }

    /// The 64 bits of the value; 0 for a text.
    std::uint64_t as_uint64() const;

    /// The text, alive as long as this variant is neither changed nor destroyed; empty for
    /// a value that is no text.
    std::string const& as_text() const;

    friend bool operator==(variant_t const& left, variant_t const& right) {
        return left.m_type == right.m_type && left.m_content == right.m_content;
    }

private:
    using content_t = std::variant<std::uint64_t, std::string>;

    variant_t(variant_type_t type, content_t content);

    variant_type_t m_type;
    content_t m_content;
};

} // namespace toolbelt2
