#pragma once

#include <toolbelt2/export.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/types.h>

namespace toolbelt2 {

/// Owns a file descriptor, or none, and closes it at its end. For one thread at a time.
class TOOLBELT2_EXPORT descriptor_t {
public:
    descriptor_t() = default;

    /// Takes a descriptor over; a negative one is none.
    explicit descriptor_t(int descriptor) noexcept : m_descriptor(descriptor) {}

    /// Opens a file (not null) as open(2) does, always with O_CLOEXEC, and anew when a signal
    /// interrupts it. None on a failure, with its reason in `errno`. `mode` is that of a file
    /// that O_CREAT makes.
    static descriptor_t open(char const* name, int flags, mode_t mode = 0);

    descriptor_t(descriptor_t&& other) noexcept : m_descriptor(other.release()) {}
    descriptor_t& operator=(descriptor_t&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~descriptor_t() { reset(); }

    /// True if there is one.
    explicit operator bool() const { return m_descriptor >= 0; }

    /// The descriptor, still owned; negative if there is none.
    int get() const { return m_descriptor; }

    /// Gives the descriptor away.
    [[nodiscard]] int release() noexcept { return std::exchange(m_descriptor, -1); }

    /// Closes what is owned, whatever comes of it, and takes another over. Leaves `errno` alone,
    /// so that the reason of an earlier failure outlives the cleaning up behind it.
    void reset(int descriptor = -1) noexcept;

    /// Closes now. The error is one of an earlier write that only shows at the end; the descriptor
    /// is closed also then. No error if there is none.
    std::error_code close() noexcept;

private:
    int m_descriptor = -1;
};

/// Reads up to `size` bytes from `offset` on, as pread(2) does, and goes on where a signal or the
/// file system gives fewer at once. Fewer come only at the end of the file, and on a failure, which
/// `error` then tells. Callable from any thread.
TOOLBELT2_EXPORT std::size_t read_at(int descriptor, std::uint64_t offset, void* buffer,
                                     std::size_t size, std::error_code& error);

/// Writes all bytes, as write(2) does. After an error a part of them may be written.
TOOLBELT2_EXPORT std::error_code write_all(int descriptor, std::string_view bytes);

} // namespace toolbelt2
