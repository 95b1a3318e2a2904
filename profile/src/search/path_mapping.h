#pragma once

/// Prefixes of recorded names and what stands for them on this machine.

#include <lokata/profile/places.h>

#include <toolbelt2/mutex.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// Substitutions that found files teach: where "/build/app/lib/x.so" was found as
/// "/opt/app/lib/x.so", "/opt" is tried for "/build" from then on. Callable from any thread.
class LearnedPaths {
public:
    /// What the pair newly taught. Empty if it was known, if the names do not end in the same
    /// component, or if there is no difference in front of what they share.
    std::optional<PathSubstitution> learn(std::string_view recorded, std::string_view found);
    /// The names that the learned substitutions make of one, the longest prefix first.
    std::vector<std::string> candidates(std::string_view name) const;
    /// In the order of learning.
    std::vector<PathSubstitution> all() const;

private:
    /// A prefix that led to many places says nothing any more.
    static constexpr std::size_t c_maxTargets = 8;

    mutable toolbelt2::mutex_t m_mutex;
    std::map<std::string, std::vector<std::string>, std::less<>>
        m_targets TOOLBELT2_GUARDED_BY(m_mutex);
    std::vector<PathSubstitution> m_all TOOLBELT2_GUARDED_BY(m_mutex);
};

} // namespace lokata::profile
