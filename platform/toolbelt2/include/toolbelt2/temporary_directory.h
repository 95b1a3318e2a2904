#pragma once

#include <toolbelt2/export.h>

#include <string>
#include <string_view>

namespace toolbelt2 {

/// A new directory that is the user's alone (mode 0700). Removes itself at its end, with all that
/// is in it; links are removed, never followed, and what cannot be removed stays. For one thread
/// at a time.
class TOOLBELT2_EXPORT temporary_directory_t {
public:
    /// Makes the directory below `parent`, which must exist, under a name of `prefix` and six
    /// characters that nothing has yet. Throws std::system_error.
    temporary_directory_t(std::string_view parent, std::string_view prefix);

    /// The same below the machine's directory for temporary files, which TMPDIR sets.
    explicit temporary_directory_t(std::string_view prefix);

    ~temporary_directory_t();
    temporary_directory_t(temporary_directory_t const&) = delete;
    temporary_directory_t& operator=(temporary_directory_t const&) = delete;

    /// `parent` and the name, for as long as this object lives.
    std::string const& path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace toolbelt2
