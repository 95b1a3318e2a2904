#pragma once

#include <brace/ustring8.h>

#include <utility>

namespace BRACE_2_18::types {

/// The value that is none.
struct nil_t {};
inline constexpr nil_t nil{};

/// A value of an argument: a text, or nil at first.
class variant {
public:
    variant() = default;
    /// Null gives the empty text, which is a value and not nil.
    variant(char const* text) : variant(strings::ustring8(text)) {}
    variant(strings::ustring8 text) : m_text(std::move(text)), m_hasValue(true) {}

    bool is_nil() const { return !m_hasValue; }
    /// The text; empty for nil. Lives as long as the variant is neither assigned nor destroyed.
    strings::ustring8 const& as_ustring() const { return m_text; }

private:
    strings::ustring8 m_text;
    bool m_hasValue = false;
};

} // namespace BRACE_2_18::types
