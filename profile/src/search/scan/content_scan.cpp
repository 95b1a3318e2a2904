#include "search/scan/content_scan.h"

#include "search/packed_kernel.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <numeric>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_set>
#include <utility>

#include <elf.h>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

/// What has a build-id, by that.
class FilesById {
public:
    void add(TreeListing const& listing, FileNumber file, FileMarks const& marks) {
        if (marks.id.empty())
            return;
        FileStamp const& stamp = listing.stamp(file);
        std::uint32_t const root = listing.directories()[listing.directory(file)].root;
        m_files.push_back({marks.id,
                           root,
                           listing.path(file),
                           {stamp.device, stamp.inode},
                           marks.kind == FileKind::packed});
    }

    void sort() {
        std::sort(
            m_files.begin(), m_files.end(),
            [](Entry const& a, Entry const& b) {
                return std::tie(a.id, a.root, a.path) < std::tie(b.id, b.root, b.path);
            });
    }

    std::vector<Candidate> candidates(std::string_view id, Place place, bool withPacked) const {
        auto const end = m_files.end();
        auto each = std::lower_bound(
            m_files.begin(), end, id,
            [](Entry const& entry, std::string_view wanted) { return entry.id < wanted; });
        std::set<Inode> known;
        std::vector<Candidate> result;
        for (; each != end && each->id == id; ++each)
            if ((withPacked || !each->is_packed) && known.insert(each->inode).second)
                result.push_back({each->path, place});
        return result;
    }

private:
    using Inode = std::pair<std::uint64_t, std::uint64_t>;
    struct Entry {
        std::string id;
        std::uint32_t root;
        std::string path;
        Inode inode;
        bool is_packed;
    };

    std::vector<Entry> m_files;
};

TreeRoots recursiveDirs(ISearchEnv* environment,
                        std::initializer_list<search_category_t> categories,
                        std::vector<std::string> const& others) {
    TreeRoots result;
    auto const add = [&](std::string const& directory) {
        if (std::find(result.begin(), result.end(), directory) == result.end())
            result.push_back(directory);
    };
    for (search_category_t const category : categories)
        forEachDirectory(environment == nullptr ? nullptr : environment->searchDirs(category),
                         [&](char const* name, bool recursive, bool /*priority*/) {
                             if (recursive && name != nullptr && *name != '\0')
                                 add(name);
                         });
    for (std::string const& directory : others)
        add(directory);
    return result;
}

} // namespace

TreeRoots elfTrees(ISearchEnv* environment, ScanOptions const& options) {
    return recursiveDirs(environment, {scBinaryFiles, scSymbolFiles, scAllFiles}, options.dirs);
}

TreeRoots sourceTrees(ISearchEnv* environment) {
    return recursiveDirs(environment, {scSourceFiles, scAllFiles}, {});
}

class ContentScan::ElfTrees {
public:
    ElfTrees(TreeRoots const& roots, FileIndex& index) : m_index(index) {
        m_listing.emplace(roots);
        std::vector<FileNumber> files;
        for (FileNumber file = 0; file < m_listing->size(); ++file)
            if (isPackedKernelName(m_listing->name(file)))
                m_packed.push_back(file);
            else if (m_listing->stamp(file).size >= sizeof(Elf32_Ehdr))
                files.push_back(file);
        read(files, Reading::elf);
    }

    std::vector<Candidate> candidates(BuildId const& buildId, bool withPacked) {
        if (withPacked && !m_packed.empty())
            read(std::exchange(m_packed, {}), Reading::packed);
        std::string_view const id(reinterpret_cast<char const*>(buildId.data()), buildId.size());
        return m_files.candidates(id, Place::build_id_scan, withPacked);
    }

private:
    void read(std::vector<FileNumber> const& files, Reading reading) {
        m_index.marks(*m_listing, files, reading, [this](FileNumber file, FileMarks const& marks) {
            if (marks.kind != FileKind::source)
                m_files.add(*m_listing, file, marks);
        });
        m_index.flush();
        m_files.sort();
        if (m_packed.empty())
            m_listing.reset();
    }

    FileIndex& m_index;
    std::optional<TreeListing> m_listing; ///< As long as something of it is unread.
    std::vector<FileNumber> m_packed;     ///< Unread.
    FilesById m_files;
};

class ContentScan::SourceTrees {
public:
    SourceTrees(TreeRoots const& roots, FileIndex& index)
        : m_index(index), m_listing(roots), m_byName(m_listing.size()) {
        std::iota(m_byName.begin(), m_byName.end(), FileNumber{0});
        std::sort(m_byName.begin(), m_byName.end(), [this](FileNumber a, FileNumber b) {
            return m_listing.name(a) < m_listing.name(b);
        });
    }

    std::vector<Candidate> candidates(std::string_view bareName, std::string_view md5) {
        auto const begin = std::lower_bound(
            m_byName.begin(), m_byName.end(), bareName,
            [this](FileNumber file, std::string_view name) { return m_listing.name(file) < name; });
        auto const end = std::find_if(begin, m_byName.end(), [&](FileNumber file) {
            return m_listing.name(file) != bareName;
        });
        read({begin, end});
        std::vector<Candidate> result =
            known(md5, [&](FileNumber file) { return m_listing.name(file) == bareName; });
        if (!result.empty())
            return result;
        std::vector<FileNumber> sources;
        std::copy_if(m_byName.begin(), m_byName.end(), std::back_inserter(sources),
                     [this](FileNumber file) { return isSourceName(m_listing.name(file)); });
        read(sources);
        m_index.flush();
        return known(md5, [](FileNumber) { return true; });
    }

private:
    void read(std::vector<FileNumber> files) {
        files.erase(std::remove_if(files.begin(), files.end(),
                                   [this](FileNumber file) { return m_isRead.count(file) != 0; }),
                    files.end());
        m_isRead.insert(files.begin(), files.end());
        std::sort(files.begin(), files.end());
        m_index.marks(m_listing, files, Reading::source,
                      [this](FileNumber file, FileMarks const& marks) {
                          if (marks.kind == FileKind::source)
                              m_byDigest.emplace(marks.id, file);
                      });
    }

    /// Those of that digest that are meant.
    template <class IsMeant>
    std::vector<Candidate> known(std::string_view md5, IsMeant const& isMeant) const {
        std::vector<FileNumber> files;
        auto const [begin, end] = m_byDigest.equal_range(md5);
        for (auto each = begin; each != end; ++each)
            if (isMeant(each->second))
                files.push_back(each->second);
        std::sort(files.begin(), files.end(),
                  [this](FileNumber a, FileNumber b) { return m_listing.isBefore(a, b); });
        std::vector<Candidate> result;
        result.reserve(files.size());
        for (FileNumber const file : files)
            result.push_back({m_listing.path(file), Place::md5_scan});
        return result;
    }

    FileIndex& m_index;
    TreeListing m_listing;
    std::vector<FileNumber> m_byName;
    std::unordered_set<FileNumber> m_isRead;
    std::multimap<std::string, FileNumber, std::less<>> m_byDigest;
};

ContentScan::ContentScan(ScanOptions options)
    : m_options(std::move(options)), m_index(m_options.index, m_options.warn) {}
ContentScan::~ContentScan() = default;

std::vector<Candidate> ContentScan::files(TreeRoots const& roots, BuildId const& buildId,
                                          bool withPacked) {
    if (!m_options.is_on || roots.empty() || buildId.empty())
        return {};
    toolbelt2::mutex_guard_t const guard(m_mutex);
    auto& trees = m_elf[roots];
    if (!trees)
        trees = std::make_unique<ElfTrees>(roots, m_index);
    return trees->candidates(buildId, withPacked);
}

std::vector<Candidate> ContentScan::sources(TreeRoots const& roots, std::string_view bareName,
                                            std::string_view md5) {
    if (!m_options.is_on || roots.empty() || md5.empty())
        return {};
    toolbelt2::mutex_guard_t const guard(m_mutex);
    auto& trees = m_sources[roots];
    if (!trees)
        trees = std::make_unique<SourceTrees>(roots, m_index);
    return trees->candidates(bareName, md5);
}

} // namespace lokata::profile
