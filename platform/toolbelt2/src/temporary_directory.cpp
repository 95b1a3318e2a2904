#include <toolbelt2/temporary_directory.h>

#include <toolbelt2/path.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace toolbelt2 {

temporary_directory_t::temporary_directory_t(std::string_view parent, std::string_view prefix)
    : m_path(join_path(parent, std::string(prefix) + "XXXXXX")) {
    if (!::mkdtemp(m_path.data()))
        throw std::system_error(errno, std::generic_category(),
                                "a directory below " + std::string(parent) + " cannot be made");
}

temporary_directory_t::temporary_directory_t(std::string_view prefix)
    : temporary_directory_t(std::filesystem::temp_directory_path().string(), prefix) {}

temporary_directory_t::~temporary_directory_t() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

} // namespace toolbelt2
