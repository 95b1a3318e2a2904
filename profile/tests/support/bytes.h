#pragma once

#include <lokata/profile/export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace lokata::profile::test {

/// Writes binary content in one byte order.
class Bytes {
public:
    explicit Bytes(bool bigEndian = false) : m_bigEndian(bigEndian) {}

    Bytes& u8(std::uint64_t value) { return integer(value, 1); }
    Bytes& u16(std::uint64_t value) { return integer(value, 2); }
    Bytes& u32(std::uint64_t value) { return integer(value, 4); }
    Bytes& u64(std::uint64_t value) { return integer(value, 8); }
    Bytes& integer(std::uint64_t value, unsigned size) {
        for (unsigned i = 0; i < size; ++i) {
            auto const shift = 8 * (m_bigEndian ? size - 1 - i : i);
            m_content.push_back(static_cast<char>(value >> shift & 0xff));
        }
        return *this;
    }
    Bytes& raw(std::string_view content) {
        m_content.append(content);
        return *this;
    }
    /// The text, a zero byte, and more up to a multiple of `align`.
    Bytes& text(std::string_view content, std::size_t align = 1) {
        raw(content).u8(0);
        return pad(align);
    }
    Bytes& pad(std::size_t align) {
        m_content.resize((m_content.size() + align - 1) / align * align);
        return *this;
    }
    Bytes& padTo(std::size_t size) {
        m_content.resize(size);
        return *this;
    }
    Bytes& varint(std::uint64_t value) {
        for (; value >= 0x80; value >>= 7)
            u8(value | 0x80);
        return u8(value);
    }

    std::size_t size() const { return m_content.size(); }
    std::string const& content() const { return m_content; }

private:
    bool m_bigEndian;
    std::string m_content;
};

/// The content behind its size.
inline std::string counted(std::string const& content) {
    return Bytes().u32(content.size()).raw(content).content();
}

} // namespace lokata::profile::test
