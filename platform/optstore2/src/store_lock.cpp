#include <optstore2/storage_error.h>
#include <optstore2/store_lock.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace optstore2 {

namespace {

[[noreturn]] void fail(std::string const& file, int code) {
    throw storage_error(file, "cannot be locked: " + std::generic_category().message(code));
}

int open_lock_file(std::string const& name) {
    int descriptor = -1;
    do {
        descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

} // namespace

store_lock_t::store_lock_t(char const* storeFile)
    : m_descriptor(open_lock_file(std::string(storeFile) + ".lock")) {
    if (m_descriptor < 0)
        fail(storeFile, errno);
    while (::flock(m_descriptor, LOCK_EX) != 0) {
        if (errno != EINTR) {
            int const code = errno;
            ::close(m_descriptor);
            fail(storeFile, code);
        }
    }
}

store_lock_t::~store_lock_t() {
    ::close(m_descriptor);
}

} // namespace optstore2
