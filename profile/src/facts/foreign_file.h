#pragma once

#include <lokata/profile/export.h>

#include <toolbelt2/descriptor.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace lokata::profile {

/// A stored file of somebody else, open for reading. What only looks like one is refused before it
/// is opened: opening a device or a pipe may already change something, and reading may never end.
/// Read by `pread` and never mapped, as another process may cut the file at any moment. For one
/// thread at a time.
class ForeignFile {
public:
    explicit ForeignFile(std::string const& path);

    /// Why there is nothing to read; empty if there is.
    std::string const& error() const { return m_error; }
    int descriptor() const { return m_descriptor.get(); }
    /// In bytes, when the file was opened.
    std::uint64_t size() const { return m_size; }

    /// True if that range lay in the file when it was opened.
    bool holds(std::uint64_t offset, std::uint64_t size) const {
        return offset <= m_size && size <= m_size - offset;
    }

    /// Replaces `content` by that range of the file. False if the file does not hold all of it, or
    /// no longer; `content` is then what could be read.
    bool read(std::uint64_t offset, std::uint64_t size, std::string& content) const;

private:
    std::size_t readInto(char* buffer, std::size_t size, std::uint64_t offset) const;

    toolbelt2::descriptor_t m_descriptor;
    std::string m_error;
    std::uint64_t m_size = 0;
    /// Headers and notes mostly lie at the start; one reading serves them all.
    std::string m_start;
};

} // namespace lokata::profile
