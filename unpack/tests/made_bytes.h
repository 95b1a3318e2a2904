#pragma once

#include <cstdint>
#include <string>

namespace lokata::unpack::test {

/// Little-endian, in `count` bytes.
inline std::string number(std::uint64_t value, std::size_t count) {
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

/// Compressible, but not so much that a cut or a flipped bit could miss the data.
inline std::string noise(std::size_t size) {
    std::string bytes;
    std::uint32_t state = 1;
    while (bytes.size() < size) {
        state = state * 1664525 + 1013904223;
        bytes += static_cast<char>('a' + (state >> 28));
    }
    return bytes;
}

} // namespace lokata::unpack::test
