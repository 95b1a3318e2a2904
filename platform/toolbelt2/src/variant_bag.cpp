#include <toolbelt2/variant_bag.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace toolbelt2 {

namespace {

using child_ptr = sptr_t<variant_bag_t const>;

bool equal_entries(variant_bag_t::entry_t const& left, variant_bag_t::entry_t const& right) {
    if (left.m_name != right.m_name || left.m_content.index() != right.m_content.index())
        return false;
    auto const* const child = std::get_if<child_ptr>(&left.m_content);
    return child ? **child == *std::get<child_ptr>(right.m_content)
                 : left.m_content == right.m_content;
}

} // namespace

void variant_bag_t::put(std::string const& name, variant_t value) {
    auto const place =
        std::find_if(m_entries.begin(), m_entries.end(), [&name](entry_t const& entry) {
            return entry.m_name == name && std::holds_alternative<variant_t>(entry.m_content);
        });
    if (place == m_entries.end())
        m_entries.push_back({name, std::move(value)});
    else
        place->m_content = std::move(value);
}

void variant_bag_t::add_variant_bag(std::string const& name, variant_bag_t child) {
    m_entries.push_back({name, std::make_shared<variant_bag_t const>(std::move(child))});
}

variant_t const* variant_bag_t::get(std::string const& name) const {
    for (entry_t const& entry : m_entries)
        if (auto const* const value = std::get_if<variant_t>(&entry.m_content);
            value != nullptr && entry.m_name == name)
            return value;
    return nullptr;
}

generic_iterator_t<variant_bag_t> variant_bag_t::begin_by_name(std::string const& name) const {
    std::vector<variant_bag_t> children;
    for (entry_t const& entry : m_entries)
        if (auto const* const child = std::get_if<child_ptr>(&entry.m_content);
            child != nullptr && entry.m_name == name)
            children.push_back(**child);
    return generic_iterator_t<variant_bag_t>(std::move(children));
}

bool operator==(variant_bag_t const& left, variant_bag_t const& right) {
    return std::equal(left.m_entries.begin(), left.m_entries.end(), right.m_entries.begin(),
                      right.m_entries.end(), equal_entries);
}

} // namespace toolbelt2
