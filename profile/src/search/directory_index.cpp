#include "search/directory_index.h"

#include <lokata2/utils.h>
#include <toolbelt2/directory_entries.h>
#include <toolbelt2/path.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <unordered_set>

#include <sys/stat.h>

namespace lokata::profile {

using namespace LK_2_13;
using toolbelt2::join_path;

namespace {

std::vector<std::string_view> componentsOf(std::string_view name) {
    std::vector<std::string_view> result;
    while (!name.empty()) {
        std::size_t const end = std::min(name.find('/'), name.size());
        if (end != 0)
            result.push_back(name.substr(0, end));
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return result;
}

bool exists(std::string const& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0;
}

/// A search takes ".." out of its candidates by their text, and gives a meaning of its own to two
/// leading slashes, backslashes and guest names.
bool isPlainName(std::string_view name, std::vector<std::string_view> const& components) {
    if (components.empty() || name.substr(0, 2) == "//" || name.back() == '/' ||
        name.find('\\') != std::string_view::npos || name.find("[guest]") != std::string_view::npos)
        return false;
    return std::none_of(components.begin(), components.end(),
                        [](std::string_view part) { return part == "." || part == ".."; });
}

/// True for a text that normalisation leaves as it is, but for slashes at the end.
bool isNormal(std::string const& directory) {
    std::string const normal = utils::getCanonicalName(directory.c_str(), true);
    return !directory.empty() && (normal == directory || normal == directory + "/");
}

struct Record {
    std::string name;
    bool recursive;
    bool priority;
};

class RecordIterator final : public RefCountImpl<ISearchDirIterator> {
public:
    explicit RecordIterator(std::vector<Record> records) : m_records(std::move(records)) {}

    void reset() override { m_current = 0; }
    bool next() override {
        m_current = std::min(m_current + 1, m_records.size());
        return m_current < m_records.size();
    }
    bool getCurrentRecord(char const*& name, bool& recursive, bool& priority) override {
        if (m_current == m_records.size())
            return false;
        Record const& record = m_records[m_current];
        name = record.name.c_str();
        recursive = record.recursive;
        priority = record.priority;
        return true;
    }

private:
    std::vector<Record> m_records;
    std::size_t m_current = 0;
};

} // namespace

/// One directory of a search list with what lies in it, or in the tree below it. Names are kept as
/// hashes: a collision only costs a look at a directory that does not hold the name.
class DirectoryIndex::Tree {
public:
    Tree(std::string const& root, bool recursive) : m_recursive(recursive) {
        visit(root);
        std::sort(m_entries.begin(), m_entries.end());
        m_entries.shrink_to_fit();
        m_visited.clear();
    }

    /// True if the directory itself may hold an entry of that name.
    bool rootMayHold(std::string_view name) const {
        return m_unlistedRoot ||
               std::binary_search(m_entries.begin(), m_entries.end(), Entry{hashOf(name), 0});
    }

    /// Flat records for the directories below the root that may hold the last component, in the
    /// order of the walk. A flat record is searched for every suffix of the name, while the walk
    /// only looks for the last component: where that would show, `root` alone, left to the walk.
    std::vector<Record> recordsBelow(Record const& root,
                                     std::vector<std::string_view> const& components) const {
        std::vector<Record> result;
        for (std::string const* const directory : directoriesWith(components.back())) {
            if (*directory == root.name)
                continue;
            std::string suffix(components.back());
            for (std::size_t i = components.size() - 1; i-- > 0;) {
                suffix = join_path(components[i], suffix);
                if (exists(join_path(*directory, suffix)))
                    return {root};
            }
            result.push_back({*directory, false, root.priority});
        }
        return result;
    }

private:
    struct Entry {
        std::uint64_t hash;
        std::uint32_t directory;

        bool operator<(Entry const& other) const {
            return hash != other.hash ? hash < other.hash : directory < other.directory;
        }
    };

    static std::uint64_t hashOf(std::string_view name) {
        return std::hash<std::string_view>()(name);
    }

    /// The directories that may hold an entry of that name, in the order of the walk.
    std::vector<std::string const*> directoriesWith(std::string_view name) const {
        std::vector<std::uint32_t> positions = m_unlisted;
        std::uint64_t const hash = hashOf(name);
        for (auto entry = std::lower_bound(m_entries.begin(), m_entries.end(), Entry{hash, 0});
             entry != m_entries.end() && entry->hash == hash; ++entry)
            positions.push_back(entry->directory);
        std::sort(positions.begin(), positions.end());
        positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
        std::vector<std::string const*> result;
        result.reserve(positions.size());
        for (std::uint32_t const position : positions)
            result.push_back(&m_directories[position]);
        return result;
    }

    /// The walk of the library, step for step, with the same reading of each directory: links are
    /// followed, an inode number is entered once, and subdirectories come in the order of the
    /// directory and after its own entries.
    void visit(std::string const& directory) {
        struct stat status {};
        if (::stat(directory.c_str(), &status) != 0 || !m_visited.insert(status.st_ino).second)
            return;
        auto const position = static_cast<std::uint32_t>(m_directories.size());
        m_directories.push_back(directory);
        toolbelt2::directory_reading_t const reading =
            toolbelt2::read_directory(directory.c_str(), m_recursive, [&](char const* name) {
                m_entries.push_back({hashOf(name), position});
            });
        if (!reading.is_complete)
            addUnlisted(position);
        for (char const* const name : reading.subdirectories)
            visit(join_path(directory, name));
    }

    /// A directory that cannot be listed may still be entered by name.
    void addUnlisted(std::uint32_t position) {
        m_unlisted.push_back(position);
        m_unlistedRoot = m_unlistedRoot || position == 0;
    }

    bool m_recursive;
    bool m_unlistedRoot = false;
    std::vector<std::string> m_directories;
    std::vector<Entry> m_entries;
    std::vector<std::uint32_t> m_unlisted;
    std::unordered_set<std::uint64_t> m_visited;
};

DirectoryIndex::DirectoryIndex() = default;
DirectoryIndex::~DirectoryIndex() = default;

DirectoryIndex::Tree const& DirectoryIndex::tree(std::string const& directory, bool recursive) {
    toolbelt2::mutex_guard_t const guard(m_mutex);
    std::unique_ptr<Tree const>& tree = m_trees[{directory, recursive}];
    if (!tree)
        tree = std::make_unique<Tree const>(directory, recursive);
    return *tree;
}

ObjectPtr<ISearchDirIterator>
DirectoryIndex::prune(ObjectPtr<ISearchDirIterator> const& directories, std::string const& name) {
    std::vector<std::string_view> const components = componentsOf(name);
    if (!directories || !isPlainName(name, components))
        return directories;

    std::vector<Record> result;
    forEachDirectory(directories, [&](char const* text, bool recursive, bool priority) {
        Record const record{text == nullptr ? "" : text, recursive, priority};
        if (!isNormal(record.name)) {
            result.push_back(record);
            return;
        }
        Tree const& content = tree(record.name, recursive);
        if (std::any_of(components.begin(), components.end(),
                        [&](std::string_view part) { return content.rootMayHold(part); }))
            result.push_back({record.name, false, priority});
        if (recursive)
            for (Record& below : content.recordsBelow(record, components))
                result.push_back(std::move(below));
    });
    return new RecordIterator(std::move(result));
}

} // namespace lokata::profile
