#pragma once

#include <lokata/profile/words.h>

#include <lokata2/search_types.h>

#include <string>
#include <string_view>

/// The enumerations of a search as the program reads and prints them.
namespace lokata::cli {

/// The enumerator's name, such as "ssSystemDirs"; the number for a value without a name.
std::string nameOf(LK_2_13::search_category_t category);
std::string nameOf(LK_2_13::search_step_t step);
std::string nameOf(LK_2_13::confidence_t confidence);
std::string nameOf(LK_2_13::severity_t severity);

/// The categories of a file.
constexpr profile::Word<LK_2_13::search_category_t> c_fileCategoryWords[]{
    {LK_2_13::scBinaryFiles, "bin"},
    {LK_2_13::scSymbolFiles, "sym"},
    {LK_2_13::scSourceFiles, "src"},
};
/// Those of a search directory.
constexpr profile::Word<LK_2_13::search_category_t> c_categoryWords[]{
    c_fileCategoryWords[0],
    c_fileCategoryWords[1],
    c_fileCategoryWords[2],
    {LK_2_13::scAllFiles, "all"},
};

/// The union of the steps in a comma separated list of names, with or without their "ss", as in
/// "AbsoluteNameLookup,SystemDirs". Throws `Failure` for an unknown or empty name.
unsigned int parseSteps(std::string_view list);

} // namespace lokata::cli
