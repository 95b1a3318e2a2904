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

} // namespace lokata::profile
