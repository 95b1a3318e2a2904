#pragma once

#include <lokata/profile/export.h>

#include <utility>

#include <unistd.h>

namespace lokata::profile {

/// Owns a file descriptor.
class FileHandle {
public:
    explicit FileHandle(int fd) : m_fd(fd) {}
    FileHandle(FileHandle&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileHandle(FileHandle const&) = delete;
    FileHandle& operator=(FileHandle const&) = delete;
    ~FileHandle() {
        if (m_fd >= 0)
            ::close(m_fd);
    }

    int get() const { return m_fd; }

private:
    int m_fd;
};

} // namespace lokata::profile
