#include <lokata/profile/read.h>

#include "read/readers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace lokata::profile {

namespace {

Profile failed(std::uint64_t offset, std::string message) {
    Profile profile;
    profile.errors.push_back({offset, std::move(message)});
    return profile;
}

class File {
public:
    explicit File(std::string const& path)
        : m_owned(path != "-")
        , m_descriptor(m_owned ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {}
    ~File() {
        if (m_owned && m_descriptor >= 0)
            ::close(m_descriptor);
    }
    File(File const&) = delete;
    File& operator=(File const&) = delete;

    int get() const { return m_descriptor; }

private:
    bool m_owned;
    int m_descriptor;
};

class Mapping {
public:
    Mapping(int file, std::size_t size)
        : m_size(size), m_start(::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0)) {}
    ~Mapping() {
        if (valid())
            ::munmap(m_start, m_size);
    }
    Mapping(Mapping const&) = delete;
    Mapping& operator=(Mapping const&) = delete;

    bool valid() const { return m_start != MAP_FAILED; }
    std::string_view content() const { return {static_cast<char const*>(m_start), m_size}; }

private:
    std::size_t m_size;
    void* m_start;
};

/// Reads to the end or to `limit`. The error number of a failed read, or 0.
int readStream(int file, std::uint64_t limit, std::string& content) {
    std::array<char, 64UL * 1024> block{};
    while (content.size() < limit) {
        auto const wanted = std::min<std::uint64_t>(block.size(), limit - content.size());
        auto const got = ::read(file, block.data(), wanted);
        if (got < 0 && errno != EINTR)
            return errno;
        if (got == 0)
            return 0;
        if (got > 0)
            content.append(block.data(), static_cast<std::size_t>(got));
    }
    return EFBIG;
}

} // namespace

Profile readProfile(std::string_view content, ReadOptions const& options) {
    if (content.empty())
        return failed(0, "the input is empty");
    FormatReader const* const reader =
        options.format.empty() ? readerFor(content) : readerOfWord(options.format);
    if (reader == nullptr)
        return failed(0, options.format.empty() ? "the content is of no known kind of profile"
                                                : "no reader is called " + options.format);
    Profile profile = reader->read(content, options);
    profile.format = reader->name.word;
    return profile;
}

Profile readProfileFile(std::string const& path, ReadOptions const& options) {
    File const file(path);
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0)
        return failed(0, std::string("cannot be opened: ") + std::strerror(errno));
    if (S_ISREG(status.st_mode) && status.st_size > 0 && ::lseek(file.get(), 0, SEEK_CUR) == 0) {
        Mapping const mapping(file.get(), static_cast<std::size_t>(status.st_size));
        if (mapping.valid())
            return readProfile(mapping.content(), options);
    }
    std::string content;
    auto const error = readStream(file.get(), options.max_stream, content);
    if (error != 0 && content.empty())
        return failed(0, std::string("cannot be read: ") + std::strerror(error));
    auto profile = readProfile(content, options);
    if (error != 0) {
        profile.errors.push_back(
            {content.size(), std::string("reading stopped: ") + std::strerror(error)});
    }
    return profile;
}

} // namespace lokata::profile
