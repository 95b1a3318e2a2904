#include "lk_search_finder.h"

#include "lk_path.h"

#include <toolbelt2/directory_entries.h>

#include <sys/stat.h>

namespace LK_2_13 {

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

    // One entry whose status cannot be read gives up the whole directory, with the names that came
    // before it: what is entered must not depend on the order of the entries.
    toolbelt2::entry_names_t const names =
        toolbelt2::read_directory(directory.c_str(), true, [](char const*) {}).subdirectories;
    if (names.empty())
        return false;
    std::string subdirectory = paths::join(directory, "");
    std::size_t const prefix = subdirectory.size();
    for (char const* const name : names) {
        subdirectory.resize(prefix);
        subdirectory += name;
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
