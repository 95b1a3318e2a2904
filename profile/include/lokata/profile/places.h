#pragma once

/// Where the file of a module may lie beside the directories that a search of the library walks.
/// All functions are callable from any thread and throw std::bad_alloc only.

#include <lokata/profile/words.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// What led to a candidate.
enum class Place {
    search_step,      ///< A step of the library.
    substitute_path,  ///< A renamed prefix that the client gave.
    learned_path,     ///< A renamed prefix that proven files taught.
    symfs,            ///< The copied tree of `PlaceOptions::symfs`.
    sysroot,          ///< The copied root of `PlaceOptions::sysroot`.
    perf_cache,       ///< The cache of perf.
    build_id_tree,    ///< The directory .build-id of a debug directory.
    binary_itself,    ///< The symbols stand in the binary.
    debug_link,       ///< Where .gnu_debuglink leads.
    alt_link,         ///< Where .gnu_debugaltlink leads.
    split_dwarf,      ///< Where debuggers look for .dwo files and packages of them.
    kernel_tree,      ///< Where a system keeps its kernel and the modules of it.
    live_process,     ///< Where a running process has the file that it mapped.
    archive_name,     ///< An archive that knows for which recorded name it holds a copy.
    kallsyms,         ///< The names that the running kernel tells.
    perf_map,         ///< The names that a compiler left for perf in /tmp.
    debuginfod_cache, ///< What a client of debuginfod servers fetched before.
    build_id_scan,    ///< A look into all files of the search trees, for their build-ids.
    md5_scan,         ///< The same for the MD5 of source files.
};

constexpr Word<Place> c_places[]{
    {Place::search_step, "search-step"},
    {Place::substitute_path, "substitute-path"},
    {Place::learned_path, "learned-path"},
    {Place::symfs, "symfs"},
    {Place::sysroot, "sysroot"},
    {Place::perf_cache, "perf-cache"},
    {Place::build_id_tree, "build-id-tree"},
    {Place::binary_itself, "binary-itself"},
    {Place::debug_link, "debug-link"},
    {Place::alt_link, "alt-link"},
    {Place::split_dwarf, "split-dwarf"},
    {Place::kernel_tree, "kernel-tree"},
    {Place::live_process, "live-process"},
    {Place::archive_name, "archive-name"},
    {Place::kallsyms, "kallsyms"},
    {Place::perf_map, "perf-map"},
    {Place::debuginfod_cache, "debuginfod-cache"},
    {Place::build_id_scan, "build-id-scan"},
    {Place::md5_scan, "md5-scan"},
};

/// A path that is worth a look. Nothing is proven by it, and no file need be there.
struct Candidate {
    std::string path;
    Place place;
};

/// Puts `to` in the place of `from`, both without a slash at the end; the empty text stands for the
/// root directory.
struct LOKATA_PROFILE_EXPORT PathSubstitution {
    std::string from;
    std::string to;

    /// The name with its prefix replaced; empty if `from` is not made of its first whole components
    /// or nothing would be left behind the prefix.
    std::optional<std::string> apply(std::string_view name) const;
};

/// Reads "FROM=TO", split at the first "=". Empty without it, or if FROM is empty.
LOKATA_PROFILE_EXPORT std::optional<PathSubstitution> parsePathSubstitution(std::string_view text);

/// The look into the files of whole trees for what nothing else has found.
struct ScanOptions {
    bool is_on = true;
    /// Trees of binaries and symbols to read beside the recursive directories of the environment,
    /// and after them.
    std::vector<std::string> dirs{};
    /// The index of <lokata/profile/file_index.h> that spares the reading of known files; empty for
    /// none. Its directory must be there.
    std::string index{};
    /// Told for a person of an index that was dropped, on the thread of the search; may be empty.
    std::function<void(std::string const& text)> warn{};
};

struct PlaceOptions {
    /// Trees of separate debug files, in order.
    std::vector<std::string> debug_dirs{"/usr/lib/debug"};
    /// The root of a copied file system; empty without one. Links in it are followed inside of it.
    std::string sysroot;
    /// As `--symfs` of perf: a copied tree, of which the same holds, or with `symfs_flat` one
    /// directory with all files.
    std::string symfs;
    bool symfs_flat = false;
    std::vector<PathSubstitution> substitutions;
    /// The cache of perf, as ~/.debug; only read. Empty leaves it out.
    std::string perf_cache;
    /// The cache of clients of debuginfod servers; only read. Empty leaves it out.
    std::string debuginfod_cache{};
    /// Applies the renamed prefixes that proven files teach to what is still missing after all
    /// names have been tried.
    bool learn_paths = true;
    ScanOptions scan{};
};

/// Adds the directories of a list with colons; empty parts are skipped.
LOKATA_PROFILE_EXPORT void addDebugDirs(std::vector<std::string>& dirs, std::string_view list);

/// Reads "DIR", "DIR,flat" or "DIR,hierarchy" into `symfs` and `symfs_flat`. False for another word
/// behind the comma, or no DIR; `options` then stay as they are.
LOKATA_PROFILE_EXPORT bool parseSymfs(std::string_view text, PlaceOptions& options);

} // namespace lokata::profile
