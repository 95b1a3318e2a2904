#pragma once

#include <lokata2/search_types.h>

#include <optional>
#include <string>
#include <string_view>

/// The enumerations of a search as the program reads and prints them.
namespace lokata::cli {

/// The enumerator's name, such as "ssSystemDirs"; the number for a value without a name.
std::string nameOf(LK_2_13::search_category_t category);
std::string nameOf(LK_2_13::search_step_t step);
std::string nameOf(LK_2_13::confidence_t confidence);
std::string nameOf(LK_2_13::severity_t severity);

/// "bin", "sym", "src" or "all".
std::optional<LK_2_13::search_category_t> categoryOfWord(std::string_view word);
char const* wordOf(LK_2_13::search_category_t category);

/// The union of the steps in a comma separated list of names without their "ss", as in
/// "AbsoluteNameLookup,SystemDirs". Throws `Failure` for an unknown or empty name.
unsigned int parseSteps(std::string_view list);

} // namespace lokata::cli
