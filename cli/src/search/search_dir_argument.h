#pragma once

#include <lokata2/search_dirs.h>

#include <string>

namespace lokata::cli {

/// A search directory in its command-line form, WORD[:FLAGS]=DIR.
struct SearchDirArgument {
    LK_2_13::search_category_t category;
    bool recursive;
    bool priority;
    std::string directory; ///< As given, never empty.
};

/// Reads the form that the library's `getSearchDirCommandLine` writes, with the flags in any order.
/// Throws `Failure` with the text and what is wrong with it.
SearchDirArgument parseSearchDir(std::string const& text);

} // namespace lokata::cli
