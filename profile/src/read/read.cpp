#include <lokata/profile/read.h>

#include "read/readers.h"

#include <toolbelt2/descriptor.h>

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
    toolbelt2::descriptor_t owned;
    if (path != "-")
        owned = toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY);
    int const file = path == "-" ? STDIN_FILENO : owned.get();
    struct stat status {};
    if (file < 0 || ::fstat(file, &status) != 0)
        return failed(0, std::string("cannot be opened: ") + std::strerror(errno));
    if (S_ISREG(status.st_mode) && status.st_size > 0 && ::lseek(file, 0, SEEK_CUR) == 0) {
        Mapping const mapping(file, static_cast<std::size_t>(status.st_size));
        if (mapping.valid())
            return readProfile(mapping.content(), options);
    }
    std::string content;
    auto const error = readStream(file, options.max_stream, content);
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
