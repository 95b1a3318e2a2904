#pragma once

/// Names inside of copied file systems, with the links that their own systems followed.

#include <lokata/profile/places.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// The sysroot of the options, and the symfs unless it is one flat directory, which is no root that
/// links could count from. Asks the file system anew at each call; callable from any thread.
class CopiedTrees {
public:
    explicit CopiedTrees(PlaceOptions const& options);

    /// A path as it is, unless it lies below a root: then without links, each of them followed as a
    /// process does whose root directory this is, so that an absolute link does not lead out and
    /// ".." stops at the root. The last components need not exist. Empty if links run in a circle.
    std::string resolve(std::string const& path) const;

    /// Whether a path goes into a tree, by whatever spelling, and on this machine leads to another
    /// file than it would inside of the tree. False for what leads nowhere on this machine.
    bool leadsOut(std::string const& path) const;

private:
    struct Root {
        std::string path;
        /// Without links of its own; a path that was canonical before begins with it.
        std::string canonical_path;
    };

    static std::string below(std::string const& root, std::string_view path);
    static bool leadsOut(Root const& root, std::string const& path);

    std::vector<Root> m_roots;
};

} // namespace lokata::profile
