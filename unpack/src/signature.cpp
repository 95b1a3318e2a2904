#include "signature.h"

#include <toolbelt2/text.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace lokata::unpack {

namespace {

using namespace std::string_view_literals;
using toolbelt2::starts_with;

/// The header of an .lzma file has no magic number: properties (0x5d is what every encoder
/// writes by default), dictionary size, unpacked size or all ones. Source: doc/lzma-file-format.txt
/// of XZ Utils, which also gives this way of telling such files from others.
bool isLzmaHeader(std::string_view bytes) {
    if (bytes.size() < c_longestSignature)
        return false;
    std::uint64_t const dictionary = littleEndianAt(bytes, 1, 4);
    std::uint64_t const unpacked = littleEndianAt(bytes, 5, 8);
    bool const isPowerOfTwo = dictionary != 0 && (dictionary & (dictionary - 1)) == 0;
    return isPowerOfTwo && (unpacked == ~std::uint64_t{0} || unpacked >> 32 == 0);
}

/// What follows a mark that is too short to be sure of.
bool isConfirmed(std::string_view bytes, Compression compression) {
    switch (compression) {
    case Compression::gzip:
        return bytes.size() > 3 && bytes[2] == 8 && (bytes[3] & 0xe0) == 0;
    case Compression::bzip2:
        return bytes.size() > 3 && bytes[3] >= '1' && bytes[3] <= '9' &&
               starts_with(bytes.substr(4), "\x31\x41\x59\x26\x53\x59"sv);
    case Compression::lzma:
        return isLzmaHeader(bytes);
    default:
        return true;
    }
}

} // namespace

char const* compressionName(Compression compression) {
    return std::find_if(
               std::begin(c_forms), std::end(c_forms),
               [&](Form const& form) { return form.compression == compression; })
        ->name;
}

std::uint64_t littleEndianAt(std::string_view bytes, std::size_t offset, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = count; i > 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[offset + i - 1]);
    return value;
}

std::size_t findSignatureByte(std::string_view bytes, std::size_t from) {
    static constexpr auto c_begins = [] {
        std::array<bool, 256> begins{};
        for (Form const& form : c_forms)
            begins[static_cast<unsigned char>(form.mark[0])] = true;
        return begins;
    }();
    while (from < bytes.size() && !c_begins[static_cast<unsigned char>(bytes[from])])
        ++from;
    return from;
}

std::optional<Compression> compressionOf(std::string_view bytes) {
    for (Form const& form : c_forms)
        if (starts_with(bytes, form.mark) && isConfirmed(bytes, form.compression))
            return form.compression;
    return std::nullopt;
}

bool isSkippableFrame(std::string_view bytes) {
    constexpr std::uint64_t c_first = 0x184d2a50;
    return bytes.size() >= 4 && (littleEndianAt(bytes, 0, 4) & ~std::uint64_t{0xf}) == c_first;
}

} // namespace lokata::unpack
