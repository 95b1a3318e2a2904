#pragma once

#include "image_file.h"

#include <cstddef>
#include <string>

namespace lokata::kernel {

/// A temporary file beside a target, removed by the destructor unless it was committed. A process
/// that is killed leaves it behind as "<target>.<process id>.part".
class PendingFile {
public:
    /// Throws `Failure` if the file can't be made.
    explicit PendingFile(std::string const& target);
    ~PendingFile();
    PendingFile(PendingFile const&) = delete;
    PendingFile& operator=(PendingFile const&) = delete;

    /// Appends. Throws `Failure` if not all can be written.
    void write(char const* pBytes, std::size_t count);
    /// Brings the data to the disk and gives the file the target's name. Throws `Failure`.
    void commit();

private:
    std::string m_target;
    std::string m_path;
    Descriptor m_fd;
    bool m_isCommitted = false;
};

} // namespace lokata::kernel
