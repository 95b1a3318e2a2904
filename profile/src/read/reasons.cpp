#include "read/reasons.h"

#include <brace/i18n.h>
#include <optstore2/message_catalog.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace lokata::profile {

namespace {

using BRACE_2_18::generic::argument;
using BRACE_2_18::generic::varg_list;
using arguments_t = std::array<argument, varg_list::position_count>;

template <std::size_t... positions>
varg_list listOf(arguments_t const& arguments, std::index_sequence<positions...> /*all*/) {
    return varg_list(arguments[positions]...);
}

varg_list numbered(std::initializer_list<std::string_view> texts) {
    arguments_t arguments;
    std::size_t count = 0;
    for (std::string_view const text : texts) {
        std::string name = "arg" + std::to_string(count + 1);
        arguments.at(count++) = {std::move(name), {std::string(text)}};
    }
    return listOf(arguments, std::make_index_sequence<varg_list::position_count>());
}

} // namespace

std::string reasonText(ReasonKey key, std::initializer_list<std::string_view> arguments) {
    auto const* const entry =
        std::find_if(std::begin(c_reasons), std::end(c_reasons),
                     [&](ReasonEntry const& each) { return each.key == key; });
    std::string const word(entry->word);
    auto const* const catalog = optstore2::getMessageCatalog(c_reasonCatalog);
    if (catalog == nullptr || catalog->message(word).size() == 0)
        return "%" + word;
    return catalog->message(word).as_ustring(numbered(arguments));
}

} // namespace lokata::profile
