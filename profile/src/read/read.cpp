#include <lokata/profile/read.h>

#include "read/byte_source.h"
#include "read/profile_builder.h"
#include "read/readers.h"
#include "read/reasons.h"

#include <toolbelt2/descriptor.h>
#include <unpack/packed_file.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace lokata::profile {

namespace {

Profile failed(std::uint64_t offset, std::string message) {
    Profile profile;
    profile.errors.push_back({offset, std::move(message)});
    return profile;
}

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

FormatReader const* readerOf(std::string_view content, ReadOptions const& options) {
    return options.format.empty() ? readerFor(content) : readerOfWord(options.format);
}

/// The reader of a file that is not packed and of which it needs only parts; null for all others.
/// A beginning tells, as such a format has a mark there.
FormatReader const* readerOfParts(FileSource const& file, ReadOptions const& options) {
    constexpr std::size_t c_beginning = 4096;
    std::string buffer;
    std::string_view const beginning = file.bytes(0, c_beginning, buffer);
    if (beginning.empty() || unpack::packingOf(beginning))
        return nullptr;
    FormatReader const* const reader = readerOf(beginning, options);
    return reader != nullptr && reader->read_parts != nullptr ? reader : nullptr;
}

Profile readUnwrapped(std::string_view content, ReadOptions const& options) {
    if (content.empty())
        return failed(0, reasonText(ReasonKey::input_empty));
    FormatReader const* const reader = readerOf(content, options);
    if (reader == nullptr)
        return failed(0, options.format.empty() ? reasonText(ReasonKey::input_unknown)
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
        return failed(
            0, reasonText(ReasonKey::input_unopened, {std::generic_category().message(errno)}));
    auto const size = static_cast<std::uint64_t>(status.st_size);
    bool const isPlain = S_ISREG(status.st_mode) && size > 0 && ::lseek(file, 0, SEEK_CUR) == 0;
    std::string content;
    if (isPlain) {
        FileSource const source(file, size);
        if (FormatReader const* const reader = readerOfParts(source, options)) {
            Profile profile = reader->read_parts(source, options);
            profile.format = reader->name.word;
            return profile;
        }
        content.reserve(static_cast<std::size_t>(std::min(size, options.max_stream)));
    }
    auto const error = readStream(file, options.max_stream, content);
    if (error != 0 && content.empty())
        return failed(
            0, reasonText(ReasonKey::input_unread, {std::generic_category().message(error)}));
    auto profile = readProfile(content, options);
    FormatReader const* const reader = readerOfWord(profile.format);
    if (reader != nullptr && reader->note_file != nullptr)
        reader->note_file(file, profile);
    if (error != 0)
        profile.errors.push_back(
            {content.size(), error == EFBIG
                                 ? "what is beyond the limit of " +
                                       std::to_string(options.max_stream) + " bytes is not read"
                                 : "reading stopped: " + std::generic_category().message(error)});
    return profile;
}

} // namespace lokata::profile
