#pragma once

#include "facts/stamp_of.h"

#include <toolbelt2/mutex.h>

#include <map>
#include <optional>
#include <string>

namespace lokata::profile {

/// Remembers what was found out of files, by their stamps. A name alone is never trusted, each
/// question costs a `stat`. It never shrinks: each version of each file that was asked about keeps
/// an entry for as long as the memo lives. Callable from any thread.
template <class Value>
class FileMemo {
public:
    /// What is remembered of the file, else what `compute(path)` gives.
    template <class Compute>
    Value get(std::string const& path, Compute const& compute) {
        return get(path, stampOf(path), compute);
    }

    /// The same with the stamp `key` of the file, as it was just now; empty if there is none.
    template <class Compute>
    Value get(std::string const& path, std::optional<FileStamp> const& key,
              Compute const& compute) {
        if (key) {
            toolbelt2::mutex_guard_t const guard(m_mutex);
            if (auto const known = m_values.find(*key); known != m_values.end())
                return known->second;
        }
        Value result = compute(path);
        // A file that changed while it was read is not remembered.
        if (key && key == stampOf(path)) {
            toolbelt2::mutex_guard_t const guard(m_mutex);
            m_values.emplace(*key, result);
        }
        return result;
    }

private:
    toolbelt2::mutex_t m_mutex;
    std::map<FileStamp, Value> m_values TOOLBELT2_GUARDED_BY(m_mutex);
};

} // namespace lokata::profile
