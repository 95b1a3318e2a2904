#pragma once

#include "search/search_dir_argument.h"

#include <lokata/profile/words.h>

#include <lokata2/search_types.h>

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

namespace lokata::cli {

constexpr profile::Word<LK_2_13::confidence_level_t> c_policies[]{
    {LK_2_13::clAccept, "accept"},
    {LK_2_13::clAcceptLow, "low"},
    {LK_2_13::clReject, "reject"},
};

/// Where a search looks, as the command line says it. All commands that search share it.
struct SearchOptions {
    std::vector<std::string> contexts; ///< Directories, nearest first.
    std::string result_dir;
    bool no_user = false;
    std::string store;                    ///< Empty for the default.
    std::vector<std::string> search_dirs; ///< WORD[:FLAGS]=DIR
    std::vector<std::string> archives;    ///< Nearest first.
    std::string cache_dir;
    std::string steps; ///< Empty for the library's own choice.
    std::string kernel_release;
    LK_2_13::confidence_level_t policy = LK_2_13::clAccept;
};

/// Declares --store.
void addStoreOption(CLI::App& command, std::string& store);

/// Declares --context and --result.
void addContextOptions(CLI::App& command, SearchOptions& options);

/// Declares an option that may be repeated, each time with one value that is not empty.
CLI::Option* addRepeatable(CLI::App& command, std::string const& name,
                           std::vector<std::string>& values, std::string const& description);

/// Declares an option with one value that is not empty.
CLI::Option* addText(CLI::App& command, std::string const& name, std::string& value,
                     std::string const& description);

/// Takes digits alone: the conversion of CLI11 takes a minus sign for a very large number. 0 stands
/// for a value that is not known.
CLI::Validator positiveNumber();

/// For an option that names one directory: it must be there. Throws `Failure`; an empty text stands
/// for an option that was not given.
void requireDirectory(char const* option, std::string const& directory);

/// For an option that lists directories, of which some may be missing on this machine: reports the
/// one that is not there and goes on.
void warnOfMissingDirectory(char const* option, std::string const& directory);

/// Declares all options of `SearchOptions`.
void addSearchOptions(CLI::App& command, SearchOptions& options);

} // namespace lokata::cli
