#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace lokata::unpack {

/// Bytes that are read once, front to back.
class ByteReader {
public:
    /// The most that a piece holds.
    static constexpr std::size_t c_piece = 0x40000;

    virtual ~ByteReader() = default;

    /// The next piece, which holds until the next call; empty at the end. Throws `Failure` on an
    /// I/O error.
    virtual std::string_view next() = 0;
};

/// Reads a range of memory, which must outlive this object.
class MemoryReader : public ByteReader {
public:
    explicit MemoryReader(std::string_view bytes) : m_bytes(bytes) {}

    std::string_view next() override {
        std::string_view const piece = m_bytes.substr(0, c_piece);
        m_bytes.remove_prefix(piece.size());
        return piece;
    }

private:
    std::string_view m_bytes;
};

} // namespace lokata::unpack
