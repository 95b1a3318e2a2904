#pragma once

#include <lokata/profile/build_id.h>
#include <lokata/profile/places.h>
#include <lokata/profile/resolution.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// A file that a process of this machine has mapped, as the kernel tells it while the process runs:
/// no other file gets the inode for as long as the mapping holds it. Its source is proc(5). For one
/// thread; nothing is kept open.
class LiveFile {
public:
    /// `recorded` is what the list of mappings of the process told of the file.
    LiveFile(std::uint32_t process, MappedFile const& recorded);

    /// The first path that leads to the mapped file: the name as it stands, the name below the root
    /// of the process, its executable, the mapping itself. `names` are spellings of the recorded
    /// name. Empty if none does or may be asked.
    std::optional<Candidate> reached(std::vector<std::string> const& names) const;

    /// What the names are to the process where they are something else here, as in another mount
    /// namespace; the mapped file can be one of them and look like another one.
    std::vector<Candidate> seenByProcess(std::vector<std::string> const& names) const;

    enum class Match {
        same,    ///< It is the mapped file.
        alike,   ///< It has its numbers, on a file system that gives them to another content.
        other,   ///< It is another one.
        unknown, ///< It is not there, or the numbers of its file system do not tell.
    };
    /// `identity` receives what was compared.
    Match compare(std::string const& path, Identity& identity) const;

    /// Out of the first page that the process has mapped of the file; empty if it holds none or the
    /// memory of the process may not be read.
    BuildId buildIdInMemory() const;

private:
    std::string below(std::string const& name) const { return m_directory + name; }

    std::string m_directory; ///< "/proc/PID"
    MappedFile m_recorded;
    std::string m_link; ///< The mapping in map_files; empty if it may not be followed.
    /// What stat tells of the mapping, which is what it tells of the file by any path.
    std::optional<MappedFile> m_mapped;
};

} // namespace lokata::profile
