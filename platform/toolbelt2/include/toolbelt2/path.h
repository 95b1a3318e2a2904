#pragma once

#include <toolbelt2/export.h>

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

} // namespace toolbelt2
