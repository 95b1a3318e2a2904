#pragma once

/// Prefixes of recorded names and what stands for them on this machine.

#include <lokata/profile/places.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// Renamed prefixes that proven files teach: where "/build/app/lib/x.so" was found as
/// "/opt/app/lib/x.so", "/opt" is tried for "/build". What was learned does not depend on the order
/// of learning. Belongs to one thread.
class LearnedPaths {
public:
    /// Takes in a recorded name and the path of the file that was proven for it. Nothing is learned
    /// from a name that is not absolute or lies in a tree by build-id, if the two do not end in the
    /// same component, or if there is no difference in front of what they share. A relative path
    /// counts from the directory that the process is in.
    void learn(std::string_view recorded, std::string_view found);
    /// The names that the learned prefixes make of one, the longest prefix first, and for one
    /// prefix the target first that more files speak for.
    std::vector<std::string> candidates(std::string_view name) const;
    bool empty() const { return m_targets.empty(); }
    /// By prefix, then in the order of `candidates`.
    std::vector<PathSubstitution> substitutions() const;

private:
    /// How many files speak for each target of a prefix.
    using Targets = std::map<std::string, std::size_t>;

    static std::vector<std::string> ordered(Targets const& targets);

    std::map<std::string, Targets, std::less<>> m_targets;
};

} // namespace lokata::profile
