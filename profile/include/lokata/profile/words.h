#pragma once

/// The words that stand for the values of an enumeration on a command line, in documents and on the
/// page. Each enumeration has one table of them beside its declaration; those of a search are the
/// library's.

#include <lokata/profile/export.h>

#include <lokata2/words.h>

namespace lokata::profile {

using LK_2_13::c_archiveCategories;
using LK_2_13::c_confidences;
using LK_2_13::c_searchSteps;
using LK_2_13::c_severities;
using LK_2_13::valueOf;
using LK_2_13::Word;
using LK_2_13::wordOf;

/// The name of a step for a person, which `--steps` takes: that of the enumerator without its
/// prefix, such as "SystemDirs"; "suggestion" for `ssAskUser`, which is no step. Empty for a value
/// without a name.
constexpr std::string_view stepName(LK_2_13::search_step_t step) {
    constexpr std::size_t c_prefix = 2;
    std::string_view const word = wordOf(c_searchSteps, step);
    if (step == LK_2_13::ssAskUser)
        return "suggestion";
    return word.empty() ? word : word.substr(c_prefix);
}

} // namespace lokata::profile
