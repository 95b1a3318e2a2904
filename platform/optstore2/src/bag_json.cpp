#include "bag_json.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

namespace optstore2 {

namespace {

using nlohmann::json;
using toolbelt2::sptr_t;
using toolbelt2::variant_bag_t;
using toolbelt2::variant_t;
using toolbelt2::variant_type_t;

constexpr int c_maxDepth = 100;

void require(bool fits, char const* reason) {
    if (!fits)
        throw std::invalid_argument(reason);
}

bool is_utf8(std::string const& text) {
    auto const isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    if (std::all_of(text.begin(), text.end(), isAscii))
        return true;
    try {
        json(text).dump();
        return true;
    } catch (json::type_error const&) {
        return false;
    }
}

json text_to_json(std::string const& text) {
    if (is_utf8(text))
        return text;
    json bytes = json::array();
    for (char c : text)
        bytes.push_back(static_cast<unsigned char>(c));
    return {{"bytes", std::move(bytes)}};
}

std::string text_from_json(json const& value) {
    if (value.is_string())
        return value.get<std::string>();
    json const& bytes = value.at("bytes");
    require(bytes.is_array(), "no bytes");
    std::string text;
    for (json const& byte : bytes) {
        require(byte.is_number_unsigned() && byte.get<std::uint64_t>() <= 0xFF, "no byte");
        text += static_cast<char>(byte.get<unsigned char>());
    }
    return text;
}

json to_json(variant_bag_t const& bag, int depth) {
    require(depth <= c_maxDepth, "bags are nested too deeply");
    json entries = json::array();
    for (variant_bag_t::entry_t const& entry : bag.entries()) {
        json item = json::array({text_to_json(entry.m_name)});
        if (auto const* const value = std::get_if<variant_t>(&entry.m_content)) {
            item.push_back(static_cast<std::int32_t>(value->type()));
            item.push_back(value->is_text() ? text_to_json(value->as_text())
                                            : json(value->as_uint64()));
        } else {
            item.push_back(
                to_json(*std::get<sptr_t<variant_bag_t const>>(entry.m_content), depth + 1));
        }
        entries.push_back(std::move(item));
    }
    return entries;
}

variant_t variant_from_json(json const& number, json const& value) {
    require(number.is_number_integer(), "no type number");
    auto const wide = number.get<std::int64_t>();
    require(wide >= std::numeric_limits<std::int32_t>::min() &&
                wide <= std::numeric_limits<std::int32_t>::max(),
            "no type number");
    auto const type = static_cast<variant_type_t>(wide);
    if (value.is_number()) {
        require(value.is_number_unsigned(), "no 64-bit value");
        return variant_t::from_bits(type, value.get<std::uint64_t>());
    }
    return variant_t::from_text(type, text_from_json(value));
}

variant_bag_t from_json(json const& entries, int depth) {
    require(entries.is_array(), "no bag");
    require(depth <= c_maxDepth, "bags are nested too deeply");
    variant_bag_t bag;
    for (json const& item : entries) {
        require(item.is_array() && (item.size() == 2 || item.size() == 3), "no entry of a bag");
        std::string const name = text_from_json(item[0]);
        if (item.size() == 2)
            bag.add_variant_bag(name, from_json(item[1], depth + 1));
        else
            bag.put(name, variant_from_json(item[1], item[2]));
    }
    return bag;
}

} // namespace

std::string bag_to_json(variant_bag_t const& bag) {
    return to_json(bag, 1).dump();
}

variant_bag_t bag_from_json(std::string_view text) {
    try {
        return from_json(json::parse(text), 1);
    } catch (json::exception const& error) {
        throw std::invalid_argument(error.what());
    }
}

} // namespace optstore2
