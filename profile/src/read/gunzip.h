#pragma once

#include <lokata/profile/export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace lokata::profile {

struct Unpacked {
    std::string content;      ///< All that could be unpacked.
    std::string error;        ///< Empty when the whole input was unpacked.
    std::uint64_t offset = 0; ///< Of the error, in the packed input.
};

/// Unpacks gzip members that follow each other, up to `limit` bytes in all.
Unpacked gunzip(std::string_view packed, std::uint64_t limit);

} // namespace lokata::profile
