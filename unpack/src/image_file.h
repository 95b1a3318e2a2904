#pragma once

#include "byte_reader.h"
#include "failure.h"

#include <toolbelt2/descriptor.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lokata::unpack {

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

/// Reads the part of an image between two offsets; ends earlier where the file does.
class RangeReader : public ByteReader {
public:
    RangeReader(ImageFile const& image, std::uint64_t begin, std::uint64_t end)
        : m_image(image), m_position(begin), m_end(end), m_buffer(c_piece) {}

    std::string_view next() override;

private:
    ImageFile const& m_image;
    std::uint64_t m_position;
    std::uint64_t m_end;
    std::vector<char> m_buffer;
};

} // namespace lokata::unpack
