#pragma once

#include <lokata/profile/file_stamp.h>

#include <optional>
#include <string>

#include <sys/stat.h>

namespace lokata::profile {

inline FileStamp stampOf(struct stat const& status) {
    auto const nanoseconds = [](timespec const& time) {
        return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    };
    return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
            nanoseconds(status.st_mtim), nanoseconds(status.st_ctim)};
}

/// Links are followed. Empty if the path leads nowhere.
inline std::optional<FileStamp> stampOf(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return stampOf(status);
}

} // namespace lokata::profile
