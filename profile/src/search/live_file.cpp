#include "search/live_file.h"

#include "read/maps.h"
#include "read/names.h"
#include "read/text_lines.h"

#include <fstream>
#include <iterator>

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>

namespace lokata::profile {

namespace {

bool operator==(MappedFile const& a, MappedFile const& b) {
    return a.device_major == b.device_major && a.device_minor == b.device_minor &&
           a.inode == b.inode;
}

std::optional<MappedFile> fileAt(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return MappedFile{major(status.st_dev), minor(status.st_dev), status.st_ino};
}

/// What is written to an overlay goes to a new file above the one that is mapped, under the same
/// numbers: Documentation/filesystems/overlayfs.rst of the kernel, "Non-standard behavior".
bool isOnOverlay(std::string const& path) {
    struct statfs status {};
    return ::statfs(path.c_str(), &status) != 0 || status.f_type == OVERLAYFS_SUPER_MAGIC;
}

/// The mapping of the file that `fits`, as it is now; empty if there is none.
template <class Fits>
std::optional<MapsLine> findMapping(std::string const& process, MappedFile const& file,
                                    Fits const& fits) {
    std::ifstream in(process + "/maps", std::ios::binary);
    std::string const content{std::istreambuf_iterator<char>(in), {}};
    std::string_view line;
    for (Lines lines(content); lines.next(line);) {
        auto mapping = parseMapsLine(line);
        if (mapping && mapping->file && *mapping->file == file && fits(*mapping)) {
            mapping->name = {}; // It ends with the content.
            return mapping;
        }
    }
    return std::nullopt;
}

std::optional<MapsLine> findMapping(std::string const& process, MappedFile const& file) {
    return findMapping(
        process, file, [](MapsLine const&) { return true; });
}

} // namespace

LiveFile::LiveFile(std::uint32_t process, MappedFile const& recorded)
    : m_directory("/proc/" + std::to_string(process)), m_recorded(recorded) {
    auto const mapping = findMapping(m_directory, recorded);
    if (!mapping)
        return;
    auto link = below("/map_files/" + rangeOf(*mapping));
    auto const mapped = fileAt(link);
    // The range can have come to hold another file before it was followed.
    auto const after = findMapping(m_directory, recorded);
    if (mapped && after && rangeOf(*after) == rangeOf(*mapping)) {
        m_mapped = mapped;
        m_link = std::move(link);
    }
}

std::optional<Candidate> LiveFile::reached(std::vector<std::string> const& names) const {
    std::vector<std::string> paths;
    for (auto const& name : names)
        if (isSafeName(name) && name.front() == '/') {
            paths.push_back(name);
            paths.push_back(below("/root" + name));
        }
    paths.push_back(below("/exe"));
    if (!m_link.empty())
        paths.push_back(m_link);
    for (auto& path : paths) {
        Identity identity;
        Match const match = compare(path, identity);
        if (match == Match::same || match == Match::alike)
            return Candidate{std::move(path), Place::live_process};
    }
    return std::nullopt;
}

std::vector<Candidate> LiveFile::seenByProcess(std::vector<std::string> const& names) const {
    std::vector<Candidate> result;
    for (auto const& name : names) {
        if (!isSafeName(name) || name.front() != '/')
            continue;
        auto path = below("/root" + name);
        auto const here = fileAt(name);
        auto const there = fileAt(path);
        if (there && !(here && *here == *there))
            result.push_back({std::move(path), Place::live_process});
    }
    return result;
}

LiveFile::Match LiveFile::compare(std::string const& path, Identity& identity) const {
    auto const file = fileAt(path);
    auto const& expected = m_mapped ? *m_mapped : m_recorded;
    // Asked behind the file: what is still mapped then was so when the file was looked at.
    if (!file || !findMapping(m_directory, m_recorded))
        return Match::unknown;
    identity = {IdentityKind::device_and_inode, deviceAndInode(expected), deviceAndInode(*file)};
    if (*file == expected)
        return isOnOverlay(path) ? Match::alike : Match::same;
    // On btrfs and overlayfs a mapping shows another device than stat.
    bool const isOneDevice =
        file->device_major == expected.device_major && file->device_minor == expected.device_minor;
    return m_mapped || isOneDevice ? Match::other : Match::unknown;
}

BuildId LiveFile::buildIdInMemory() const {
    auto const mapping =
        findMapping(m_directory, m_recorded, [](MapsLine const& line) { return line.offset == 0; });
    return mapping ? profile::buildIdInMemory(m_directory, *mapping) : BuildId();
}

} // namespace lokata::profile
