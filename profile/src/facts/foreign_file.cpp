#include "facts/foreign_file.h"

#include "read/reasons.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace lokata::profile {

namespace {

/// Small files have all that is asked of them in it.
constexpr std::uint64_t c_start = 16384;
/// Of the end of a file, in bytes.
constexpr std::uint64_t c_end = 4096;

std::string lastError() {
    return std::generic_category().message(errno);
}

} // namespace

/// File systems whose files the kernel makes up while they are read. They pass as regular files,
/// and reading some of them waits for news (/proc/kmsg) or takes it from others (trace_pipe).
bool isMadeUp(int descriptor) {
    constexpr std::array<std::uint32_t, 9> c_kinds{
        PROC_SUPER_MAGIC,    SYSFS_MAGIC,        DEBUGFS_MAGIC, TRACEFS_MAGIC, SECURITYFS_MAGIC,
        CGROUP2_SUPER_MAGIC, CGROUP_SUPER_MAGIC, BPF_FS_MAGIC,  SELINUX_MAGIC};
    struct statfs status {};
    return ::fstatfs(descriptor, &status) == 0 &&
           std::find(c_kinds.begin(), c_kinds.end(), static_cast<std::uint32_t>(status.f_type)) !=
               c_kinds.end();
}

ForeignFile::ForeignFile(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        m_error = lastError();
        return;
    }
    if (!S_ISREG(status.st_mode)) {
        m_error = reasonText(ReasonKey::not_regular);
        return;
    }
    // Does not block on a pipe that took the place of the file meanwhile.
    m_descriptor = toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!m_descriptor || ::fstat(m_descriptor.get(), &status) != 0)
        m_error = lastError();
    else if (!S_ISREG(status.st_mode))
        m_error = reasonText(ReasonKey::not_regular);
    else if (isMadeUp(m_descriptor.get()))
        m_error = reasonText(ReasonKey::not_stored);
    if (!m_error.empty())
        return;
    m_size = static_cast<std::uint64_t>(status.st_size);
}

ForeignFile ForeignFile::ofContent(std::string_view content) {
    ForeignFile file;
    file.m_size = content.size();
    file.m_startSize = content.size();
    file.m_start.reset(new char[content.size()]);
    content.copy(file.m_start.get(), content.size());
    return file;
}

bool ForeignFile::read(std::uint64_t offset, std::uint64_t size, std::string& content) const {
    content.clear();
    if (!holds(offset, size))
        return false;
    if (!m_start && offset + size <= c_start)
        readStart();
    if (offset + size <= m_startSize) {
        content.assign(m_start.get() + offset, static_cast<std::size_t>(size));
        return true;
    }
    std::uint64_t const endAt = m_size - std::min(m_size, c_end);
    if (offset < endAt)
        return readRange(offset, size, content);
    if (m_end.empty())
        readRange(endAt, m_size - endAt, m_end);
    if (offset - endAt + size > m_end.size())
        return readRange(offset, size, content);
    content.assign(m_end, static_cast<std::size_t>(offset - endAt), static_cast<std::size_t>(size));
    return true;
}

bool ForeignFile::readRange(std::uint64_t offset, std::uint64_t size, std::string& content) const {
    content.resize(static_cast<std::size_t>(size));
    std::error_code error;
    content.resize(
        toolbelt2::read_at(m_descriptor.get(), offset, content.data(), content.size(), error));
    return content.size() == size;
}

void ForeignFile::readStart() const {
    auto const wanted = static_cast<std::size_t>(std::min(m_size, c_start));
    m_start.reset(new char[wanted]);
    std::error_code error;
    m_startSize = toolbelt2::read_at(m_descriptor.get(), 0, m_start.get(), wanted, error);
}

std::uint64_t ForeignFile::nextStored(std::uint64_t offset) const {
    off_t const found = ::lseek(m_descriptor.get(), static_cast<off_t>(offset), SEEK_DATA);
    if (found < 0)
        return errno == ENXIO ? m_size : offset;
    return std::min(static_cast<std::uint64_t>(found), m_size);
}

std::string obstacleToReading(std::string const& path, std::uint64_t most) {
    ForeignFile const file(path);
    if (!file.error().empty() || file.size() <= most)
        return file.error();
    return reasonText(ReasonKey::too_large, {std::to_string(file.size())});
}

} // namespace lokata::profile
