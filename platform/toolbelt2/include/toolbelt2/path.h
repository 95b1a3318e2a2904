#pragma once

#include <toolbelt2/export.h>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace toolbelt2 {

/// The name of a file as its bytes: neither normalised nor converted.
class path_t {
public:
    /// Copies the name; null is the empty name, which no file has.
    explicit path_t(char const* name) : m_name(name ? name : "") {}

    /// The name, never null, for as long as this object lives.
    char const* c_str() const { return m_name.c_str(); }

private:
    std::string m_name;
};

/// `part` below `directory` with exactly one separator between them, also if `part` is absolute. An
/// empty `part` leaves `directory` with exactly one trailing separator; an empty `directory` gives
/// `part`. Only the text is looked at.
TOOLBELT2_EXPORT std::string join_path(std::string_view directory, std::string_view part);

/// Several parts, each below those before it.
inline std::string join_path(std::string directory, std::initializer_list<std::string_view> parts) {
    for (std::string_view const part : parts)
        directory = join_path(directory, part);
    return directory;
}

/// What stands behind the last slash of a path, or all of it without one; empty behind a slash at
/// the end. Only the text is looked at, by this and by what follows.
constexpr std::string_view last_component(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

/// The length of `path` in front of its last component and the slash before that; npos without a
/// slash.
constexpr std::size_t parent_length(std::string_view path) {
    return path.rfind('/');
}

/// The directory that `path` lies in; "." without a slash.
inline std::string parent_of(std::string_view path) {
    std::size_t const length = parent_length(path);
    if (length == std::string_view::npos)
        return ".";
    return length == 0 ? "/" : std::string(path.substr(0, length));
}

constexpr std::string_view without_slashes_at_end(std::string_view path) {
    return path.substr(0, path.find_last_not_of('/') + 1);
}

} // namespace toolbelt2
