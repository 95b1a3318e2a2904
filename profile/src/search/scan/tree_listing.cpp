#include "search/scan/tree_listing.h"

#include "facts/foreign_file.h"
#include "facts/stamp_of.h"

#include <toolbelt2/directory_entries.h>
#include <toolbelt2/path.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace lokata::profile {

class TreeListing::Walk {
public:
    explicit Walk(TreeListing& listing) : m_listing(listing) {}

    void addTree(std::string const& root, std::uint32_t number) {
        m_root = number;
        std::set<std::string> links{root};
        while (!links.empty()) {
            std::string const first = *links.begin();
            links.erase(links.begin());
            addDirectories(first, links);
        }
    }

private:
    using Subdirectories = std::vector<std::string>;

    /// Depth first, by name. `links` takes the links to directories that were met.
    void addDirectories(std::string const& top, std::set<std::string>& links) {
        Subdirectories pending{top};
        while (!pending.empty()) {
            std::string const path = std::move(pending.back());
            pending.pop_back();
            Subdirectories below = addDirectory(path, links);
            std::sort(below.begin(), below.end(), std::greater<>());
            std::move(below.begin(), below.end(), std::back_inserter(pending));
        }
    }

    Subdirectories addDirectory(std::string const& path, std::set<std::string>& links) {
        Subdirectories below;
        toolbelt2::directory_t directory(path.c_str());
        if (!isNew(directory))
            return below;
        m_listing.m_directories.push_back({path, m_root, number(m_listing.m_files.size())});
        while (dirent const* const entry = directory.next()) {
            struct stat status {};
            mode_t mode = DTTOIF(entry->d_type);
            if (entry->d_type == DT_REG || entry->d_type == DT_UNKNOWN) {
                if (::fstatat(directory.descriptor(), entry->d_name, &status,
                              AT_SYMLINK_NOFOLLOW) != 0)
                    continue;
                mode = status.st_mode;
            }
            if (S_ISREG(mode))
                addFile(entry->d_name, status);
            else if (S_ISDIR(mode))
                below.push_back(toolbelt2::join_path(path, entry->d_name));
            else if (S_ISLNK(mode) &&
                     directory.kind_of(*entry) == toolbelt2::directory_t::kind_t::directory)
                links.insert(toolbelt2::join_path(path, entry->d_name));
        }
        return below;
    }

    bool isNew(toolbelt2::directory_t const& directory) {
        struct stat status {};
        return directory && ::fstat(directory.descriptor(), &status) == 0 &&
               isStored(status.st_dev, directory.descriptor()) &&
               m_visited.emplace(status.st_dev, status.st_ino).second;
    }

    /// Asked once for each device.
    bool isStored(dev_t device, int descriptor) {
        auto const [known, isNew] = m_devices.try_emplace(device, true);
        if (isNew)
            known->second = !isMadeUp(descriptor);
        return known->second;
    }

    void addFile(char const* name, struct stat const& status) {
        constexpr std::size_t c_most = std::numeric_limits<std::uint32_t>::max();
        std::string& names = m_listing.m_names;
        std::string_view const text(name);
        if (m_listing.m_files.size() == c_most || names.size() + text.size() > c_most)
            return;
        m_listing.m_files.push_back(
            {stampOf(status), number(m_listing.m_directories.size() - 1), number(names.size())});
        names.append(text).push_back('\0');
    }

    static std::uint32_t number(std::size_t count) { return static_cast<std::uint32_t>(count); }

    TreeListing& m_listing;
    std::uint32_t m_root = 0;
    std::set<std::pair<dev_t, ino_t>> m_visited;
    std::map<dev_t, bool> m_devices;
};

TreeListing::TreeListing(std::vector<std::string> const& roots) {
    Walk walk(*this);
    for (std::size_t i = 0; i < roots.size(); ++i)
        walk.addTree(roots[i], static_cast<std::uint32_t>(i));
}

std::string TreeListing::path(FileNumber file) const {
    return toolbelt2::join_path(m_directories[directory(file)].path, name(file));
}

bool TreeListing::isBefore(FileNumber a, FileNumber b) const {
    auto const place = [this](FileNumber file) {
        return std::pair(m_directories[directory(file)].root, path(file));
    };
    return place(a) < place(b);
}

} // namespace lokata::profile
