#pragma once

#include <string>
#include <string_view>

/// Where other tools of the user keep copies of files by build-id. Directories need not exist. All
/// functions but `perfBuildIdDir` ask the environment.
namespace lokata::cli {

/// As the man page of perf-config has it: buildid.dir of the file that $PERF_CONFIG names, else of
/// ~/.perfconfig and /etc/perfconfig, else ~/.debug. The user's own file is believed only if it
/// belongs to the user or root. Empty if the cache is switched off, or without a home.
std::string perfCacheDirectory();

/// $DEBUGINFOD_CACHE_PATH, else ~/.debuginfod_client_cache where an old client made one, else
/// debuginfod_client in the user's cache directory. Empty if none of them is known.
std::string debuginfodCacheDirectory();

/// What the text of a configuration file of perf says of buildid.dir, up to the first line that is
/// no such text; empty if it says nothing. The last word counts.
std::string perfBuildIdDir(std::string_view config);

} // namespace lokata::cli
