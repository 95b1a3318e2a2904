#pragma once

/// Keeps the files of a resolved profile, so that it can be resolved without the machine that it
/// was recorded on. An archive is a tree of copies, ARCHIVE/CATEGORY/NAME/MD5/NAME, as the search
/// library looks through it.
///
/// A copy appears under its name whole or not at all, holds what the MD5 in its path says, and has
/// the source's permissions and time of modification, but never its set-user-ID and set-group-ID
/// bits. A copy that is there already is compared with its MD5, and replaced if it is damaged; what
/// is no regular file in its place is left alone, and that is an error. Any number of processes may
/// write to one archive.
///
/// An archive of a resolved profile knows besides for which recorded name it holds which copy, in
/// ARCHIVE/names/CATEGORY/NAME/MD5.json, one note for each, named after the MD5 of its own content.
/// A plain copy of one archive over another thus merges both; it has to keep the times of the files
/// where sources are to be proven by them. A note tells the name as recorded, the MD5 of the copy,
/// and whose file it is: the build-id of the module, or else the profile. It leads a search to the
/// copy and keeps the copy from being taken for another name, but it proves nothing: the copy is
/// judged as it would be anywhere else, and what was unproven when it was archived stays so.
///
/// All functions are callable from any thread and throw std::bad_alloc only.

#include <lokata/profile/resolution.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// What became of one file.
struct ArchivedFile {
    std::string path;   ///< Of the copy; empty if the file could not be kept.
    bool added = false; ///< False for a copy that was there already.
    std::string error;  ///< For a person; why the file could not be kept.
};

/// Copies a file into the archive below `directory`, which is made if it is missing. `name` is that
/// of the copy, a bare name; empty stands for the file's own. A file that no longer has the stamp
/// `judged`, if there is one, is not kept.
LOKATA_PROFILE_EXPORT ArchivedFile archiveFile(std::string const& file,
                                               std::string const& directory,
                                               LK_2_13::search_category_t category,
                                               std::string const& name = {},
                                               std::optional<FileStamp> const& judged = {});

struct ArchiveOutcome {
    std::size_t added = 0;           ///< Files of which no whole copy was in the archive before.
    std::size_t kept = 0;            ///< Files of which there was one.
    std::vector<std::string> errors; ///< For a person; one for each file that could not be kept.
};

/// Copies every file found into the archive below `directory`, which is made if it is missing. Each
/// goes to its category, supplementary files and those with split DWARF to the symbols, under the
/// name by which a search with that archive alone looks for it, and with a note of its recorded
/// name. A file that has changed since it was judged is not kept. Symbols that stand in the binary
/// itself need no copy.
LOKATA_PROFILE_EXPORT ArchiveOutcome archiveFiles(ProfileResolution const& resolution,
                                                  std::string const& directory);

} // namespace lokata::profile
