#pragma once

/// Which Debian package brought a file, by the lists that dpkg keeps of installed packages, see
/// dpkg-query(1).

#include <lokata/profile/export.h>

#include <toolbelt2/mutex.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lokata::profile {

/// Reads the lists on first need, once. Callable from any thread.
class PackageOwners {
public:
    /// `root` is that of a copied system, or empty for this one; `lists` is its directory
    /// /var/lib/dpkg/info.
    PackageOwners(std::string root, std::string lists)
        : m_root(std::move(root)), m_lists(std::move(lists)) {}

    /// Of a file of that system; empty for one that no package brought.
    std::string ownerOf(std::string const& path);
    /// The name of the package with the debug information of another one, whether it is installed
    /// or not.
    std::string debugPackageOf(std::string const& package);

private:
    struct Lists {
        std::vector<std::string> packages;
        /// Hashes of the paths with the index of the package, sorted; a mix-up costs a wrong hint.
        std::vector<std::pair<std::uint64_t, std::uint32_t>> files;
    };

    Lists const& lists() TOOLBELT2_REQUIRES(m_mutex);
    void readInto(Lists& lists) const;
    std::vector<std::string> const& knownNames(std::string const& directory)
        TOOLBELT2_REQUIRES(m_mutex);
    /// Those of a directory in that system, as it is called and with its links followed.
    std::vector<std::string> namesInRoot(std::string const& directory) const;

    std::string m_root;
    std::string m_lists;
    toolbelt2::mutex_t m_mutex;
    std::optional<Lists> m_read TOOLBELT2_GUARDED_BY(m_mutex);
    std::map<std::string, std::vector<std::string>> m_directories TOOLBELT2_GUARDED_BY(m_mutex);
};

} // namespace lokata::profile
