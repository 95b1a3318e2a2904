#include "commands/run_request_file.h"

#include "console/failure.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

namespace lokata::cli {

RequestFile::RequestFile(std::string const& name)
    : m_name(name == "-" ? "standard input" : name)
    , m_pFile(name == "-" ? stdin : std::fopen(name.c_str(), "re")) {
    if (m_pFile == nullptr)
        throw Failure(name + ": " + std::strerror(errno));
}

RequestFile::~RequestFile() {
    std::free(m_pLine);
    if (m_pFile != stdin)
        std::fclose(m_pFile);
}

bool RequestFile::next(std::string& line) {
    errno = 0;
    ssize_t length = ::getline(&m_pLine, &m_capacity, m_pFile);
    if (length < 0) {
        if (std::ferror(m_pFile) != 0 && errno != EINTR)
            throw Failure(m_name + ": " + std::strerror(errno));
        return false;
    }
    ++m_lineNumber;
    m_bytesRead += static_cast<std::uint64_t>(length);
    if (length > 0 && m_pLine[length - 1] == '\n')
        --length;
    line.assign(m_pLine, static_cast<std::size_t>(length));
    return true;
}

std::string RequestFile::place() const {
    return m_name + ":" + std::to_string(m_lineNumber);
}

std::uint64_t RequestFile::size() const {
    struct stat status {};
    return ::fstat(::fileno(m_pFile), &status) == 0 && S_ISREG(status.st_mode)
               ? static_cast<std::uint64_t>(status.st_size)
               : 0;
}

} // namespace lokata::cli
