#include <brace/i18n.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace BRACE_2_18::i18n {
namespace {

std::size_t append_brace(std::string& out, std::string_view rest) {
    out += rest[0];
    return rest.size() > 1 && rest[1] == rest[0] ? 2 : 1;
}

/// Appends what the start of `rest`, a brace, stands for, and gives the number of bytes consumed.
std::size_t append_from_brace(std::string& out, std::string_view rest,
                              generic::varg_list const& arguments) {
    std::size_t const end = rest.find_first_of("{}", 1);
    if (rest[0] == '}' || end == std::string_view::npos || rest[end] != '}')
        return append_brace(out, rest);
    strings::ustring8 const* const value = arguments.find(rest.substr(1, end - 1));
    out += value != nullptr ? std::string_view(value->str()) : rest.substr(0, end + 1);
    return end + 1;
}

} // namespace

strings::ustring8 message_t::as_ustring(generic::varg_list const& arguments) const {
    std::string out;
    std::string_view rest = m_text.str();
    while (!rest.empty()) {
        std::size_t const plain = std::min(rest.find_first_of("{}"), rest.size());
        out += rest.substr(0, plain);
        rest.remove_prefix(plain);
        if (!rest.empty())
            rest.remove_prefix(append_from_brace(out, rest, arguments));
    }
    return out;
}

message_t const& catalog_t::message(strings::ustring8 const& key) const {
    static message_t const none;
    auto const found = m_messages.find(key);
    return found != m_messages.end() ? found->second : none;
}

void catalog_t::put(strings::ustring8 key, strings::ustring8 text) {
    m_messages.insert_or_assign(std::move(key), message_t(std::move(text)));
}

} // namespace BRACE_2_18::i18n
