#pragma once

#include <toolbelt2/descriptor.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace lokata::kernel {

/// A failure with the sentence for the user; never leaves the public functions.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A regular file open for reading at any offset.
class ImageFile {
public:
    /// Throws `Failure` if `path` can't be opened or is no regular file.
    explicit ImageFile(std::string const& path);

    std::uint64_t size() const { return m_size; }
    /// True if `path` names this very file.
    bool isSameFileAs(std::string const& path) const;
    /// Reads up to `count` bytes; fewer only at the end of the file. Throws `Failure` on an I/O
    /// error.
    std::size_t readAt(std::uint64_t offset, void* pBuffer, std::size_t count) const;

private:
    toolbelt2::descriptor_t m_descriptor;
    std::uint64_t m_size = 0;
};

/// Reads the part of an image between two offsets, front to back.
class RangeReader {
public:
    RangeReader(ImageFile const& image, std::uint64_t begin, std::uint64_t end)
        : m_image(image), m_position(begin), m_end(end) {}

    /// As `ImageFile::readAt`, from where the last call ended; 0 at the end of the range.
    std::size_t read(void* pBuffer, std::size_t count);

private:
    ImageFile const& m_image;
    std::uint64_t m_position;
    std::uint64_t m_end;
};

/// The little-endian number of `count` bytes (at most 8) at `pBytes`.
std::uint64_t littleEndian(unsigned char const* pBytes, std::size_t count);

} // namespace lokata::kernel
