#include <toolbelt2/descriptor.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace toolbelt2 {

descriptor_t descriptor_t::open(char const* name, int flags, mode_t mode) {
    int descriptor = -1;
    do {
        descriptor = ::open(name, flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor_t(descriptor);
}

void descriptor_t::reset(int descriptor) noexcept {
    int const reason = errno;
    close();
    errno = reason;
    m_descriptor = descriptor;
}

// Linux closes a descriptor even if a signal interrupts close(2): once more could hit a new one.
std::error_code descriptor_t::close() noexcept {
    int const descriptor = release();
    bool const failed = descriptor >= 0 && ::close(descriptor) != 0;
    return failed ? std::error_code(errno, std::generic_category()) : std::error_code();
}

} // namespace toolbelt2
