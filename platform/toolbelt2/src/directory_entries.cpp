#include <toolbelt2/directory_entries.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace toolbelt2 {

namespace {

bool is_dots(char const* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

} // namespace

directory_t::directory_t(char const* name)
    : m_pHandle(::opendir(name)), m_error(m_pHandle ? 0 : errno) {}

directory_t::~directory_t() {
    if (m_pHandle)
        ::closedir(m_pHandle);
}

dirent const* directory_t::next() {
    if (m_error != 0)
        return nullptr;
    dirent const* entry = nullptr;
    do {
        errno = 0;
        entry = ::readdir(m_pHandle);
    } while (entry && is_dots(entry->d_name));
    if (!entry)
        m_error = errno;
    return entry;
}

directory_t::kind_t directory_t::kind_of_target(char const* name) const {
    struct stat status {};
    if (::fstatat(::dirfd(m_pHandle), name, &status, 0) == 0)
        return S_ISDIR(status.st_mode) ? kind_t::directory : kind_t::other;
    return errno == ENOENT || errno == ENOTDIR ? kind_t::other : kind_t::unreadable;
}

} // namespace toolbelt2
