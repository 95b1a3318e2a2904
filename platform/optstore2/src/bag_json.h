#pragma once

#include <toolbelt2/variant_bag.h>

#include <string>
#include <string_view>

namespace optstore2 {

/// A bag as JSON text that brings back names, type numbers, values and order exactly:
///
///     [["category", 3, 1],
///      ["searchDirectory", [["name", 12, "/opt"], ["recursive", 0, 1]]]]
///
/// An entry of three is a variant: name, type number, value. One of two is a child bag with
/// its name. A number is the 64 bits of its value, unsigned. A text that is not UTF-8, as a file
/// name need not be, is {"bytes": [47, 255]} instead of a string; so is such a name.
///
/// Throws std::invalid_argument for a bag nested deeper than 100.
std::string bag_to_json(toolbelt2::variant_bag_t const& bag);

/// The bag that bag_to_json wrote. Throws std::invalid_argument, with the reason, for any
/// other text.
toolbelt2::variant_bag_t bag_from_json(std::string_view text);

} // namespace optstore2
