#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The text of paths. All name handling of the library goes through these functions: what they
/// answer does not change with the release of the file system library, whose own answers for
/// trailing separators, empty parts and absolute parts differ from release to release. The file
/// system is never asked.
namespace LK_2_13::paths {

/// `part` below `directory` with exactly one separator between them, also if `part` is absolute. An
/// empty `part` leaves `directory` with exactly one trailing separator; an empty `directory` gives
/// `part`.
std::string join(std::string_view directory, std::string_view part);

/// Resolves "." and ".." and repeated separators. A trailing separator, also one that is written
/// "/.", stays as exactly one. Two leading separators stay, as they name a host. An empty path
/// stays empty; a relative path that folds to nothing gives ".".
std::string normal(std::string_view path);

/// `normal` without a trailing separator, but for the root.
std::string normalName(std::string_view path);

/// The last element: "." for a path with a trailing separator, "/" for the root. A host alone is
/// its own name.
std::string_view fileName(std::string_view path);

/// The file name without its extension.
std::string_view stem(std::string_view path);

/// The last dot of the file name and what follows; empty for none and for "." and "..". A name that
/// begins with its only dot is all extension.
std::string_view extension(std::string_view path);

/// The path without its last element; empty for a single element and for the root.
std::string_view parent(std::string_view path);

/// True if the path has a root directory, which a host alone has not.
bool isRooted(std::string_view path);

/// The elements from left to right; that of a root directory is "/".
std::vector<std::string_view> elements(std::string_view path);

/// Turns the backslashes of a path into slashes if it looks like a Windows path: it begins with two
/// backslashes, or its second and third characters are a colon and a backslash.
void fixWindowsSeparators(std::string& path);

} // namespace LK_2_13::paths
