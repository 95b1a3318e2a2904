#pragma once

#include <lokata/profile/export.h>

#include <cstdint>
#include <tuple>

namespace lokata::profile {

/// Which file a path led to and in which state, as stat(2) tells it. Two equal ones are of the same
/// content.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;       ///< In bytes.
    std::int64_t modified_ns = 0; ///< Of the content, since the epoch.
    std::int64_t changed_ns = 0;  ///< Of content or attributes; no program can set it.

    auto all() const { return std::tie(device, inode, size, modified_ns, changed_ns); }
    friend bool operator==(FileStamp const& a, FileStamp const& b) { return a.all() == b.all(); }
    friend bool operator!=(FileStamp const& a, FileStamp const& b) { return !(a == b); }
    friend bool operator<(FileStamp const& a, FileStamp const& b) { return a.all() < b.all(); }
};

} // namespace lokata::profile
