#include <toolbelt2/descriptor.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace toolbelt2 {

namespace {

std::error_code last_error() {
    return {errno, std::generic_category()};
}

} // namespace

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

/// Linux closes a descriptor even if a signal interrupts close(2): once more could hit a new one.
std::error_code descriptor_t::close() noexcept {
    int const descriptor = release();
    bool const failed = descriptor >= 0 && ::close(descriptor) != 0;
    return failed ? last_error() : std::error_code();
}

std::size_t read_at(int descriptor, std::uint64_t offset, void* buffer, std::size_t size,
                    std::error_code& error) {
    error.clear();
    std::size_t done = 0;
    while (done < size) {
        ssize_t const count = ::pread(descriptor, static_cast<char*>(buffer) + done, size - done,
                                      static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            error = last_error();
        if (count <= 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

std::error_code write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t const written = ::write(descriptor, bytes.data(), bytes.size());
        if (written >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            return last_error();
    }
    return {};
}

} // namespace toolbelt2
