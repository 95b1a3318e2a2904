#pragma once

#include <string>

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

} // namespace toolbelt2
