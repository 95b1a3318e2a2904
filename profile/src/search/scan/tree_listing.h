#pragma once

/// Which files lie in trees, and in what state they are: one look at each directory and at each
/// file. No file is opened.

#include <lokata/profile/file_stamp.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// A file by its place in a `TreeListing`.
using FileNumber = std::uint32_t;

/// The regular files of some trees. A directory that several ways lead to counts once, for the
/// first tree that holds it. Links to directories are followed, as the recursive walk of the
/// library does, after all that lies in the tree itself; links to files are not: what they lead to
/// counts where it lies. File systems whose files the kernel makes up are not entered, and what
/// cannot be read is left out. Immutable.
class TreeListing {
public:
    /// The first trees come first.
    explicit TreeListing(std::vector<std::string> const& roots);

    struct Directory {
        std::string path;
        std::uint32_t root = 0; ///< The tree, by its place in the list.
        FileNumber first = 0;   ///< Its files come one behind the other.
    };

    std::size_t size() const { return m_files.size(); }
    std::vector<Directory> const& directories() const { return m_directories; }
    /// When the directory was read.
    FileStamp const& stamp(FileNumber file) const { return m_files[file].stamp; }
    /// Ends with a null character; good as long as the listing.
    std::string_view name(FileNumber file) const { return m_names.data() + m_files[file].name; }
    std::uint32_t directory(FileNumber file) const { return m_files[file].directory; }
    std::string path(FileNumber file) const;
    /// The order of answers: by tree, then by path.
    bool isBefore(FileNumber a, FileNumber b) const;

private:
    class Walk;

    struct File {
        FileStamp stamp;
        std::uint32_t directory;
        std::uint32_t name; ///< An offset into the names.
    };

    std::vector<Directory> m_directories;
    std::vector<File> m_files;
    std::string m_names;
};

} // namespace lokata::profile
