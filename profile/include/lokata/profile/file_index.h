#pragma once

/// The index of what files hold, which spares a scan of search trees a look into each of them: for
/// each file that was read, by device and inode, its size and times in nanoseconds, what kind of
/// file it is, its build-id, or of a source file its MD5, and its debug link. It is a cache in an
/// SQLite file: no answer depends on it, and it may be removed at any time. A file whose size or
/// times are not those that were kept is read anew, and one that changed within two seconds of its
/// reading is not kept.
///
/// Any number of threads and processes may use one index. One that is damaged, or of another
/// format, is dropped and begun anew. It holds up to 500,000 files, some 60 MiB; those that no scan
/// met for the longest go first, and those that none met for 90 days.

#include <lokata/profile/export.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lokata::profile {

/// "files.sqlite" in the private directory of the product, below the user's cache directory. Empty
/// if none can be had.
LOKATA_PROFILE_EXPORT std::string defaultFileIndex();

/// What an index holds, in files.
struct FileIndexStatus {
    std::uint64_t entries = 0;
    std::uint64_t with_id = 0; ///< Of them, those with a build-id or an MD5.
    std::uint64_t bytes = 0;   ///< Of the file itself; 0 if there is none.
    std::string error;         ///< Why it cannot be read; empty if it can, or is not there.
};

LOKATA_PROFILE_EXPORT FileIndexStatus fileIndexStatus(std::string const& index);

/// Removes the index. Why it could not, for a person; empty if nothing is left of it.
LOKATA_PROFILE_EXPORT std::string clearFileIndex(std::string const& index);

/// Told on the thread of the call how many files have been looked at, of how many in the tree.
using IndexProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// What the filling of an index came to.
struct IndexedTrees {
    std::uint64_t files = 0;   ///< In the trees.
    std::uint64_t read = 0;    ///< Those that were not known before.
    std::uint64_t with_id = 0; ///< With a build-id.
    std::string error;         ///< Why the index was not filled; empty if it was.
};

/// Reads all files of the trees that the index does not know, and keeps what they hold; sources
/// too, by their extension, and packed kernels and modules.
LOKATA_PROFILE_EXPORT IndexedTrees indexTrees(std::vector<std::string> const& trees,
                                              std::string const& index,
                                              IndexProgress const& progress = {});

} // namespace lokata::profile
