#include "lk_search_finder.h"

#include "lk_path.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace LK_2_13 {

namespace {

struct CloseDirectory {
    void operator()(DIR* handle) const { ::closedir(handle); }
};

enum class EntryKind { directory, other, unreadable };

/// Asks for the status of links and of entries whose file system tells no type, nothing else: it
/// would cost more than the rest of a walk. A link that leads nowhere is no failure.
EntryKind kindOf(DIR* directory, dirent const& entry) {
    if (entry.d_type == DT_DIR)
        return EntryKind::directory;
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN)
        return EntryKind::other;
    struct stat status {};
    if (::fstatat(::dirfd(directory), entry.d_name, &status, 0) == 0)
        return S_ISDIR(status.st_mode) ? EntryKind::directory : EntryKind::other;
    return errno == ENOENT || errno == ENOTDIR ? EntryKind::other : EntryKind::unreadable;
}

bool isDots(char const* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// The names of the subdirectories, each ended with a null character. One entry whose status cannot
/// be read gives up the whole directory, with the names that came before it, and that is meant. The
/// handle is closed on return, so that a walk has one open at most, however deep the tree.
std::string subdirectories(char const* directory) {
    std::unique_ptr<DIR, CloseDirectory> const handle(::opendir(directory));
    if (!handle)
        return {};
    std::string names;
    for (;;) {
        errno = 0;
        dirent const* const entry = ::readdir(handle.get()); // NOLINT(concurrency-mt-unsafe)
        if (entry == nullptr)
            return errno == 0 ? names : std::string();
        if (isDots(entry->d_name))
            continue;
        EntryKind const kind = kindOf(handle.get(), *entry);
        if (kind == EntryKind::unreadable)
            return {};
        if (kind == EntryKind::directory)
            names.append(entry->d_name, std::strlen(entry->d_name) + 1);
    }
}

} // namespace

FilesFinder::FilesFinder(unsigned int searchStep, ISearchDirectoryFindCallback* callback)
    : m_searchStep(searchStep), m_callback(callback) {}

void FilesFinder::addSearchDirectory(char const* directory, bool recursive) {
    m_searchDirs.push_back({directory, recursive});
}

bool FilesFinder::findRecursively(std::string const& directory, std::string const& fileName,
                                  ISearchResultsContainer& results) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0 || !m_visitedDirs.insert(status.st_ino).second)
        return false;
    // Offered before the look at what kind of file `directory` is: a plain file has one candidate.
    if (results.validateAndAdd(paths::join(directory, fileName).c_str(), m_searchStep))
        return true;

    std::string const names = subdirectories(directory.c_str());
    if (names.empty())
        return false;
    std::string subdirectory = paths::join(directory, "");
    std::size_t const prefix = subdirectory.size();
    for (std::size_t pos = 0; pos < names.size();) {
        subdirectory.resize(prefix);
        subdirectory += names.c_str() + pos;
        pos += subdirectory.size() - prefix + 1;
        if (findRecursively(subdirectory, fileName, results))
            return true;
    }
    return false;
}

bool FilesFinder::findIteratively(std::string const& directory, std::string const& fileName,
                                  ISearchResultsContainer& results) {
    std::vector<std::string_view> const elements = paths::elements(fileName);
    for (auto first = elements.begin(); first != elements.end(); ++first) {
        std::string candidate = directory;
        for (auto element = first; element != elements.end(); ++element)
            candidate = paths::join(candidate, *element);
        if (results.validateAndAdd(paths::normal(candidate).c_str(), m_searchStep))
            return true;
    }
    return false;
}

bool FilesFinder::find(char const* fileName, ISearchResultsContainer& results) {
    std::string const name = fileName;
    std::string const bare(paths::fileName(name));
    for (search_dir const& dir : m_searchDirs) {
        bool skip = false;
        if (m_callback != nullptr && m_callback->find(dir.name, dir.recursive, name, results, skip))
            return true;
        if (skip)
            continue;
        if (findIteratively(dir.name, name, results))
            return true;
        if (!dir.recursive)
            continue;
        m_visitedDirs.clear();
        if (findRecursively(dir.name, bare, results))
            return true;
    }
    return false;
}

} // namespace LK_2_13
