#include <lokata/profile/read.h>

#include "read/maps.h"
#include "read/profile_builder.h"
#include "read/readers.h"

#include <toolbelt2/descriptor.h>
#include <unpack/packed_file.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
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

/// An input without the packing around it. pprof packs by itself what may then be packed once more;
/// deeper than that no recording lies.
class Unwrapped {
public:
    Unwrapped(std::string_view input, ReadOptions const& options) : m_input(input) {
        constexpr int c_layers = 2;
        for (int i = 0; i < c_layers && unpack::packingOf(content()); ++i) {
            auto const limit = unpackLimit(options, options.max_unpacked, content().size());
            auto unpacked = unpack::unpackMemory(content(), limit);
            if (!unpacked.error.empty())
                m_errors.push_back({unpacked.offset, std::move(unpacked.error)});
            m_unpacked = std::move(unpacked.content);
        }
    }

    std::string_view content() const { return m_unpacked ? *m_unpacked : m_input; }
    std::vector<ReadError> const& errors() const { return m_errors; }

private:
    std::string_view m_input;
    std::optional<std::string> m_unpacked;
    std::vector<ReadError> m_errors;
};

Profile readUnwrapped(std::string_view content, ReadOptions const& options) {
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

} // namespace

std::string detectFormat(std::string_view content) {
    Unwrapped const input(content, ReadOptions());
    FormatReader const* const reader =
        input.content().empty() ? nullptr : readerFor(input.content());
    return reader == nullptr ? "" : reader->name.word;
}

Profile readProfile(std::string_view content, ReadOptions const& options) {
    Unwrapped const input(content, options);
    bool const isLost = input.content().empty() && !input.errors().empty();
    Profile profile = isLost ? Profile() : readUnwrapped(input.content(), options);
    profile.errors.insert(profile.errors.begin(), input.errors().begin(), input.errors().end());
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
    noteLiveProcess(file, profile);
    if (error != 0) {
        profile.errors.push_back(
            {content.size(), std::string("reading stopped: ") + std::strerror(error)});
    }
    return profile;
}

} // namespace lokata::profile
