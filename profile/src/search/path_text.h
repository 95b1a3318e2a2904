#pragma once

/// What the text of a path says, without a look at the file system.

#include <cstddef>
#include <string>
#include <string_view>

namespace lokata::profile {

inline std::string_view withoutSlashesAtEnd(std::string_view path) {
    return path.substr(0, path.find_last_not_of('/') + 1);
}

/// The length of `path` in front of its last component and the slash before that; npos without a
/// slash.
inline std::size_t parentLength(std::string_view path) {
    return path.rfind('/');
}

/// The directory that `path` lies in; "." without a slash.
inline std::string parentOf(std::string_view path) {
    std::size_t const length = parentLength(path);
    if (length == std::string_view::npos)
        return ".";
    return length == 0 ? "/" : std::string(path.substr(0, length));
}

} // namespace lokata::profile
