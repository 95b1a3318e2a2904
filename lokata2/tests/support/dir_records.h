#pragma once

#include "lk_searchenv_dirs.h"

#include <string>

namespace LK_2_13::test {

/// The records of an iterator from the first, as "name flags;", flags being "r" and "p". A null
/// iterator reads as an empty list.
inline std::string dirsOf(ObjectPtr<ISearchDirIterator> const& iterator) {
    std::string result;
    forEachDirectory(iterator, [&](char const* name, bool recursive, bool priority) {
        result.append(name).append(" ").append(recursive ? "r" : "");
        result.append(priority ? "p;" : ";");
    });
    return result;
}

} // namespace LK_2_13::test
