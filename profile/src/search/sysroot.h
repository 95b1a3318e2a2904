#pragma once

/// Names inside of a copied file system, with the links that its own system followed.

#include <lokata/profile/export.h>

#include <string>
#include <string_view>

namespace lokata::profile {

/// The root of a copied file system. Asks the file system anew at each call; callable from any
/// thread.
class Sysroot {
public:
    /// `root` may be empty; then nothing lies inside.
    explicit Sysroot(std::string_view root);

    /// A path as it is, unless it lies below the root: then without links, each of them followed as
    /// a process does whose root directory this is, so that an absolute link does not lead out and
    /// ".." stops at the root. The last components need not exist. Empty if links run in a circle.
    std::string resolve(std::string const& path) const;

private:
    std::string below(std::string const& root, std::string const& path) const;

    std::string m_root;
    /// The root without links of its own; a path that was canonical before begins with it.
    std::string m_canonicalRoot;
};

} // namespace lokata::profile
