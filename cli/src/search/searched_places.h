#pragma once

#include <lokata2/search_env.h>

#include <string>
#include <system_error>
#include <vector>

/// Where the steps of a search look, for a person. The system is asked when it is told, so a change
/// since the search shows.
namespace lokata::cli {

struct SearchedPlace {
    LK_2_13::search_step_t step;
    /// A directory or, of `ssAbsoluteNameLookup`, a file; empty for the system directories.
    std::string path;
    bool recursive = false;
};

/// The places of the steps that are on and have anything to look at, in their order. `binary` is
/// that of a symbol file; empty if it is not known.
std::vector<SearchedPlace> searchedPlaces(LK_2_13::ISearchEnv& environment,
                                          LK_2_13::search_category_t category,
                                          std::string const& name, std::string const& binary);

struct UnreadPlace {
    LK_2_13::search_step_t step;
    std::string path;
    std::error_code error;
};

/// What of the places could not be read. Of a recursive one the directories below it, too.
std::vector<UnreadPlace> unreadPlaces(std::vector<SearchedPlace> const& places);

/// Why a file cannot be looked at; no error if it can, or if there is none.
std::error_code whyUnread(std::string const& path);

} // namespace lokata::cli
