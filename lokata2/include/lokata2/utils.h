#pragma once

#include <lokata2/export.h>

#include <cstdint>
#include <fstream>
#include <string>

/// Names, files and archives. These functions report no failure by exception: a question that
/// cannot be answered gives false. They hold no state and may be called from any thread. A null
/// text counts as the empty text unless a function says otherwise.
namespace LK_2_13 {

/// The result of archiving a file.
enum archive_result_t : std::uint32_t {
    afOk = 0,
    afNoCalculator = 2,
    /// The source could not be read.
    afNoChecksum = 3,
    /// A directory of the tree could not be made.
    afDirectoryError = 4,
    afCopyFailed = 5,
    /// The target exists; nothing was copied.
    afAlreadyArchived = 6,
    /// No context on the way up has an archive directory.
    afNoArchiveDir = 8
};

namespace utils {

/// The normal form of a path, by its text alone: the file system is not asked, links are not
/// resolved, a relative name stays relative. "." components go, "name/.." folds, a trailing
/// separator goes unless `addTrailingSeparator` asks for exactly one. The backslashes of a Windows
/// path (`C:\a`, `\\host\a`) become slashes. What folds to nothing is ".". Null or an empty name
/// gives an empty text.
LOKATA2_EXPORT std::string getCanonicalName(char const* name, bool addTrailingSeparator);

/// -1, 0 or 1, byte by byte as unsigned values. Case sensitive.
LOKATA2_EXPORT int compareCanonicalFileNames(char const* a, char const* b);

/// The last component.
LOKATA2_EXPORT std::string getFileNameOnly(char const* name);

/// The last component without its last extension.
LOKATA2_EXPORT std::string getFileNameBase(char const* name);

/// `part` below `directory`, with one separator between them.
LOKATA2_EXPORT std::string addSubPart(char const* directory, char const* part);

/// Each character through `toupper`.
LOKATA2_EXPORT std::string toUpper(char const* text);

/// The login name of the user, or "unknown_user".
LOKATA2_EXPORT std::string getUserId();

/// True for a file of any kind, directories included; links are followed.
LOKATA2_EXPORT bool fileExists(char const* name);

/// True for a directory; links are followed.
LOKATA2_EXPORT bool isDirectory(char const* name);

/// True if something was removed.
LOKATA2_EXPORT bool removeFile(char const* name);

/// Makes one directory below an existing one. True if it was made; false if it existed or failed.
LOKATA2_EXPORT bool createDir(char const* name);

/// Makes a private directory below the product's temporary directory. Gives 0 and the path, or 4
/// with `directory` unchanged.
LOKATA2_EXPORT int createUniqueTempDir(std::string& directory);

/// Copies `source` into an archive tree, under its name and the MD5 of its content:
/// `<root>/<category>/<name>/<md5>/<name>`. A null `category` leaves out that level. `source` and
/// `root` must not be null; the parent of `root` has to exist. `archivedName` gets the path of the
/// copy for `afOk`, `afAlreadyArchived` and `afCopyFailed`. With `removeSource` the source goes
/// after a copy; it stays for any other result.
LOKATA2_EXPORT archive_result_t archiveFile(char const* source, char const* root,
                                            char const* category, std::string& archivedName,
                                            bool removeSource);

/// Unpacks the first gzip stream of a kernel image into `target`. False if there is none or it is
/// damaged; then no `target` that this call made stays behind. A stream that is cut short by the
/// end of the file counts as success.
LOKATA2_EXPORT bool extractVmlinux(char const* compressedImage, char const* target);

/// Inflates a gzip stream (RFC 1952) from the position of `in` to `out`. Bytes behind it are left
/// alone. The end of `in` within the stream is no failure.
LOKATA2_EXPORT bool uncompress(std::basic_ifstream<char>& in, std::basic_ofstream<char>& out);

} // namespace utils
} // namespace LK_2_13
