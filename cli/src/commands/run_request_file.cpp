#include "commands/run_request_file.h"

#include "commands/run_request_line.h"
#include "console/failure.h"
#include "console/texts.h"

#include <cerrno>
#include <system_error>

#include <sys/stat.h>

namespace lokata::cli {

RequestFile::RequestFile(std::string const& name)
    : m_name(name == "-" ? textOf(Text::standard_input) : name)
    , m_pFile(name == "-" ? stdin : std::fopen(name.c_str(), "re")) {
    if (m_pFile == nullptr)
        throw Failure(name + ": " + std::generic_category().message(errno));
}

RequestFile::~RequestFile() {
    if (m_pFile != stdin)
        std::fclose(m_pFile);
}

bool RequestFile::next(std::string& line) {
    line.clear();
    errno = 0;
    std::uint64_t const start = m_bytesRead;
    for (int c = std::getc(m_pFile); c != EOF; c = std::getc(m_pFile)) {
        ++m_bytesRead;
        if (c == '\n')
            break;
        if (line.size() <= c_maxRequestLine)
            line += static_cast<char>(c);
    }
    if (std::ferror(m_pFile) != 0 && errno != EINTR)
        throw Failure(m_name + ": " + std::generic_category().message(errno));
    if (std::ferror(m_pFile) != 0 || m_bytesRead == start)
        return false;
    ++m_lineNumber;
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
