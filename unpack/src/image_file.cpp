#include "image_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>

namespace lokata::unpack {

/// O_NONBLOCK: opening a pipe must not wait for its writer.
ImageFile::ImageFile(std::string const& path)
    : m_descriptor(toolbelt2::descriptor_t::open(path.c_str(), O_RDONLY | O_NONBLOCK)) {
    struct stat status {};
    if (!m_descriptor || ::fstat(m_descriptor.get(), &status) != 0)
        throw Failure("it cannot be opened: " + std::generic_category().message(errno));
    if (!S_ISREG(status.st_mode))
        throw Failure("it is not a regular file");
    m_size = static_cast<std::uint64_t>(status.st_size);
}

bool ImageFile::isSameFileAs(std::string const& path) const {
    struct stat mine {};
    struct stat other {};
    return ::fstat(m_descriptor.get(), &mine) == 0 && ::stat(path.c_str(), &other) == 0 &&
           mine.st_dev == other.st_dev && mine.st_ino == other.st_ino;
}

std::size_t ImageFile::readAt(std::uint64_t offset, void* pBuffer, std::size_t count) const {
    std::error_code error;
    std::size_t const got = toolbelt2::read_at(m_descriptor.get(), offset, pBuffer, count, error);
    if (error)
        throw Failure("it cannot be read: " + error.message());
    return got;
}

std::string_view RangeReader::next() {
    auto const wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(m_buffer.size(), m_end - m_position));
    std::size_t const got = m_image.readAt(m_position, m_buffer.data(), wanted);
    m_position += got;
    return {m_buffer.data(), got};
}

} // namespace lokata::unpack
