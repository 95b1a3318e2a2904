#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace lokata::cli {

/// The input of `run`, read line by line. A signal that the program handles ends a wait for input.
class RequestFile {
public:
    /// "-" is standard input. Throws `Failure` if the file cannot be opened.
    explicit RequestFile(std::string const& name);
    ~RequestFile();
    RequestFile(RequestFile const&) = delete;
    RequestFile& operator=(RequestFile const&) = delete;

    /// Gives the next line without its newline; of one that is too long for a request the first
    /// bytes, one more than are allowed. False at the end, or if a signal came. Throws
    /// `Failure` if the file cannot be read.
    bool next(std::string& line);

    /// The current line for a message: the file's name, ":" and the number of the line.
    std::string place() const;
    std::uint64_t bytesRead() const { return m_bytesRead; }
    /// 0 if it is not known.
    std::uint64_t size() const;

private:
    std::string m_name;
    std::FILE* m_pFile;
    std::uint64_t m_lineNumber = 0;
    std::uint64_t m_bytesRead = 0;
};

} // namespace lokata::cli
