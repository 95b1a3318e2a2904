#pragma once

#include <lokata/profile/export.h>

#include <toolbelt2/descriptor.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace lokata::profile {

/// A stored file of somebody else, open for reading. What only looks like one is refused before it
/// is opened: opening a device or a pipe may already change something, and reading may never end.
/// Read by `pread` and never mapped, as another process may cut the file at any moment. For one
/// thread at a time.
class ForeignFile {
public:
    explicit ForeignFile(std::string const& path);
    /// Takes over a descriptor of a stored file of `size` bytes; none for a negative one.
    ForeignFile(toolbelt2::descriptor_t descriptor, std::uint64_t size)
        : m_descriptor(std::move(descriptor)), m_size(size) {}
    /// What another file held, packed. It has no descriptor.
    static ForeignFile ofContent(std::string_view content);

    /// Why there is nothing to read; empty if there is.
    std::string const& error() const { return m_error; }
    int descriptor() const { return m_descriptor.get(); }
    /// In bytes, when the file was opened.
    std::uint64_t size() const { return m_size; }

    /// True if that range lay in the file when it was opened.
    bool holds(std::uint64_t offset, std::uint64_t size) const {
        return offset <= m_size && size <= m_size - offset;
    }

    /// Where the next bytes from `offset` on lie that are stored; the size of the file if there are
    /// no more. The bytes before are zeros that nobody wrote, and cost nothing to know.
    std::uint64_t nextStored(std::uint64_t offset) const;

    /// Replaces `content` by that range of the file. False if the file does not hold all of it, or
    /// no longer; `content` is then what could be read.
    bool read(std::uint64_t offset, std::uint64_t size, std::string& content) const;

private:
    ForeignFile() = default;
    void readStart() const;
    bool readRange(std::uint64_t offset, std::uint64_t size, std::string& content) const;

    toolbelt2::descriptor_t m_descriptor;
    std::string m_error;
    std::uint64_t m_size = 0;
    /// Headers and notes mostly lie at the start; one reading serves them all. All of it where
    /// there is no descriptor.
    mutable std::unique_ptr<char[]> m_start;
    mutable std::uint64_t m_startSize = 0;
    /// The tables of sections mostly lie at the end.
    mutable std::string m_end;
};

/// True for a file, or a directory, that the kernel makes up while it is read.
bool isMadeUp(int descriptor);

/// Why a file is not to be read to its end: what it is, or that it has more than `most` bytes.
/// Empty if nothing is in the way.
std::string obstacleToReading(std::string const& path, std::uint64_t most);

} // namespace lokata::profile
