#pragma once

#include <string>
#include <utility>

namespace BRACE_2_18::strings {

/// A UTF-8 text. Its bytes are kept as they come and never tested, so that a file name that is
/// no valid UTF-8 passes through unharmed. Sizes are in bytes.
class ustring8 {
public:
    ustring8() = default;
    /// Null gives the empty text.
    ustring8(char const* text) : m_text(text != nullptr ? text : "") {}
    ustring8(std::string text) : m_text(std::move(text)) {}

    operator std::string const&() const { return m_text; }
    std::string const& str() const { return m_text; }
    char const* c_str() const { return m_text.c_str(); }
    std::string::size_type size() const { return m_text.size(); }

    /// Orders by bytes.
    friend bool operator<(ustring8 const& a, ustring8 const& b) { return a.m_text < b.m_text; }

private:
    std::string m_text;
};

} // namespace BRACE_2_18::strings
