#pragma once

/// The bytes of an input of which only few are needed, such as a core file, wherever they lie.

#include "read/elf_image.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace lokata::profile {

/// Used on one thread at a time.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::uint64_t size() const = 0;
    /// Up to `count` bytes from `offset` on, fewer where the input ends. What is not in memory is
    /// read into `buffer`, which the view then needs.
    virtual std::string_view bytes(std::uint64_t offset, std::uint64_t count,
                                   std::string& buffer) const = 0;
    /// Null if libelf cannot take it. The source must outlive the handle.
    virtual ElfHandle openElf() const = 0;
};

/// Over memory, which must outlive it.
class MemorySource final : public ByteSource {
public:
    explicit MemorySource(std::string_view content) : m_content(content) {}

    std::uint64_t size() const override { return m_content.size(); }
    std::string_view bytes(std::uint64_t offset, std::uint64_t count,
                           std::string& buffer) const override;
    ElfHandle openElf() const override { return profile::openElf(m_content); }

private:
    std::string_view m_content;
};

/// Over a regular file, which is read and never mapped: a mapped one that is cut meanwhile would
/// end the process. Takes no ownership of the descriptor and leaves its position alone.
class FileSource final : public ByteSource {
public:
    FileSource(int descriptor, std::uint64_t size) : m_descriptor(descriptor), m_size(size) {}

    std::uint64_t size() const override { return m_size; }
    std::string_view bytes(std::uint64_t offset, std::uint64_t count,
                           std::string& buffer) const override;
    ElfHandle openElf() const override;

private:
    int m_descriptor;
    std::uint64_t m_size;
};

} // namespace lokata::profile
