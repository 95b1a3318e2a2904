#pragma once

#include <lokata/profile/export.h>

#include <toolbelt2/mutex.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>

#include <sys/stat.h>

namespace lokata::profile {

/// Remembers what was found out of files, by the identity of a file: device, inode, size and time
/// of modification in nanoseconds. A name alone is never trusted, each question costs a `stat`.
/// Callable from any thread.
template <class Value>
class FileMemo {
public:
    /// What is remembered of the file, else what `compute(path)` gives.
    template <class Compute>
    Value get(std::string const& path, Compute const& compute) {
        std::optional<Key> const key = keyOf(path);
        if (key) {
            toolbelt2::mutex_guard_t const guard(m_mutex);
            if (auto const known = m_values.find(*key); known != m_values.end())
                return known->second;
        }
        Value result = compute(path);
        // A file that changed while it was read is not remembered.
        if (key && key == keyOf(path)) {
            toolbelt2::mutex_guard_t const guard(m_mutex);
            m_values.emplace(*key, result);
        }
        return result;
    }

private:
    using Key = std::tuple<std::uint64_t, std::uint64_t, std::uint64_t, std::int64_t, long>;

    static std::optional<Key> keyOf(std::string const& path) {
        struct stat status {};
        if (::stat(path.c_str(), &status) != 0)
            return std::nullopt;
        return Key{status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                   status.st_mtim.tv_nsec};
    }

    toolbelt2::mutex_t m_mutex;
    std::map<Key, Value> m_values TOOLBELT2_GUARDED_BY(m_mutex);
};

} // namespace lokata::profile
