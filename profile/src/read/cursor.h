#pragma once

#include <lokata/profile/export.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace lokata::profile {

/// Reads integers and bytes from untrusted memory. A read past the end gives zeros or an empty
/// view and turns ok() false for good, so that a caller may check once after several reads.
class Cursor {
public:
    /// `base` is the offset of the first byte within the whole input.
    Cursor(std::string_view bytes, bool bigEndian, std::uint64_t base = 0)
        : m_bytes(bytes), m_base(base), m_bigEndian(bigEndian) {}

    std::uint8_t u8() { return integer<std::uint8_t>(); }
    std::uint16_t u16() { return integer<std::uint16_t>(); }
    std::uint32_t u32() { return integer<std::uint32_t>(); }
    std::uint64_t u64() { return integer<std::uint64_t>(); }

    /// An unsigned number as DWARF packs them, seven bits a byte; bits beyond 64 are dropped.
    std::uint64_t leb128() {
        // Most take one byte.
        if (m_position < m_bytes.size() && (m_bytes[m_position] & 0x80) == 0)
            return static_cast<unsigned char>(m_bytes[m_position++]);
        std::uint64_t value = 0;
        for (unsigned shift = 0; m_ok; shift += 7) {
            std::uint8_t const byte = u8();
            if (shift < 64)
                value |= std::uint64_t{byte & 0x7fU} << shift;
            if ((byte & 0x80U) == 0)
                break;
        }
        return value;
    }

    std::string_view bytes(std::uint64_t count) {
        if (count > remaining()) {
            fail();
            return {};
        }
        auto const taken = m_bytes.substr(m_position, static_cast<std::size_t>(count));
        m_position += taken.size();
        return taken;
    }

    void skip(std::uint64_t count) { bytes(count); }

    /// Skips `count` entries of `size` bytes; the product is never formed.
    void skipEntries(std::uint64_t count, std::uint64_t size) {
        if (size != 0 && count > remaining() / size)
            fail();
        else
            skip(count * size);
    }

    /// Up to the next zero byte, which is consumed. Without one the text is cut off: all that
    /// remains, and ok() turns false.
    std::string_view text() {
        auto const rest = m_bytes.substr(m_position);
        auto const end = rest.find('\0');
        if (end == std::string_view::npos)
            fail();
        else
            m_position += end + 1;
        return rest.substr(0, end);
    }

    /// All that remains, consumed.
    std::string_view rest() { return bytes(remaining()); }

    std::uint64_t remaining() const { return m_bytes.size() - m_position; }
    std::uint64_t offset() const { return m_base + m_position; }
    bool ok() const { return m_ok; }
    bool bigEndian() const { return m_bigEndian; }

private:
    template <class Integer>
    Integer integer() {
        if (sizeof(Integer) > remaining()) {
            fail();
            return 0;
        }
        Integer value = 0;
        std::memcpy(&value, m_bytes.data() + m_position, sizeof value);
        m_position += sizeof value;
        return m_bigEndian == c_isBigEndianHost ? value : reversed(value);
    }

    static std::uint8_t reversed(std::uint8_t value) { return value; }
    static std::uint16_t reversed(std::uint16_t value) { return __builtin_bswap16(value); }
    static std::uint32_t reversed(std::uint32_t value) { return __builtin_bswap32(value); }
    static std::uint64_t reversed(std::uint64_t value) { return __builtin_bswap64(value); }

    static constexpr bool c_isBigEndianHost = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

    void fail() {
        m_ok = false;
        m_position = m_bytes.size();
    }

    std::string_view m_bytes;
    std::size_t m_position = 0;
    std::uint64_t m_base;
    bool m_bigEndian;
    bool m_ok = true;
};

} // namespace lokata::profile
