#include "pending_file.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace lokata::kernel {

PendingFile::PendingFile(std::string const& target)
    : m_target(target)
    , m_path(target + "." + std::to_string(::getpid()) + ".part")
    , m_fd(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (m_fd.get() < 0)
        throw Failure(withErrno(m_path + " cannot be created"));
}

PendingFile::~PendingFile() {
    if (!m_isCommitted)
        ::unlink(m_path.c_str());
}

void PendingFile::write(char const* pBytes, std::size_t count) {
    while (count > 0) {
        ssize_t const done = ::write(m_fd.get(), pBytes, count);
        if (done < 0 && errno != EINTR)
            throw Failure(withErrno(m_path + " cannot be written"));
        std::size_t const step = done < 0 ? 0 : static_cast<std::size_t>(done);
        pBytes += step;
        count -= step;
    }
}

void PendingFile::commit() {
    if (::fsync(m_fd.get()) != 0 || !m_fd.close() ||
        std::rename(m_path.c_str(), m_target.c_str()) != 0)
        throw Failure(withErrno(m_target + " cannot be written"));
    m_isCommitted = true;
}

} // namespace lokata::kernel
