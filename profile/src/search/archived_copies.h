#pragma once

/// Copies in archives. The tree of an archive is ARCHIVE/CATEGORY/NAME/MD5/NAME, where CATEGORY is
/// a word of `c_archiveCategories`: nothing but the path says which file a copy is of, and a copy
/// may be cut short or changed since it was written. So what it holds is compared with its path.

#include "facts/file_memo.h"
#include "search/archive_names.h"

#include <lokata/profile/resolution.h>

#include <lokata2/search_env.h>

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace lokata::profile {

/// The MD5 of the contents of files, in lower-case hexadecimal digits; empty where a file cannot be
/// read to its end.
using ContentDigests = FileMemo<std::string>;

/// The parts of the path of a copy.
struct CopyPath {
    std::string directory; ///< The archive's directory for the category.
    std::string name;
    std::string md5; ///< In lower-case hexadecimal digits.
};

/// Empty for a path that is not of the form DIRECTORY/NAME/MD5/NAME.
std::optional<CopyPath> parseCopyPath(std::string const& path);

/// Knows the copies in the archives of one environment, and in its cache directory, whose tree is
/// the same below a category. Only reads; callable from any thread.
class ArchivedCopies {
public:
    /// `environment` may be null. `digests` must outlive this object.
    ArchivedCopies(LK_2_13::ISearchEnv* environment, ContentDigests& digests);

    /// Rejects a copy that does not hold what its path says, and one in an archive that `own` does
    /// not let pass. Leaves other files alone, and what is rejected already.
    void check(std::string const& path, OwnCopies const& own, JudgedCandidate& candidate) const;

private:
    using DirectoryKey = std::pair<std::uint64_t, std::uint64_t>;

    static std::optional<DirectoryKey> keyOf(std::string const& directory);
    void add(std::string const& directory, bool isArchive);

    /// By device and inode, as a path can be spelled in many ways; true for those of archives.
    std::map<DirectoryKey, bool> m_directories;
    ContentDigests& m_digests;
};

} // namespace lokata::profile
