#include <toolbelt2/variant.h>

#include <utility>

namespace toolbelt2 {

variant_t::variant_t(std::string text) : variant_t(vtText, std::move(text)) {}

variant_t::variant_t(char const* text) : variant_t(vtText, std::string(text ? text : "")) {}

variant_t::variant_t(variant_type_t type, content_t content)
    : m_type(type), m_content(std::move(content)) {}

variant_t variant_t::from_bits(variant_type_t type, std::uint64_t bits) {
    return {type, bits};
}

variant_t variant_t::from_text(variant_type_t type, std::string text) {
    return {type, std::move(text)};
}

std::uint64_t variant_t::as_uint64() const {
    auto const* const bits = std::get_if<std::uint64_t>(&m_content);
    return bits ? *bits : 0;
}

std::string const& variant_t::as_text() const {
    static std::string const s_empty;
    auto const* const text = std::get_if<std::string>(&m_content);
    return text ? *text : s_empty;
}

} // namespace toolbelt2
