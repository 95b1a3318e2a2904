#include "search/searched_places.h"

#include <lokata2/utils.h>
#include <toolbelt2/directory_entries.h>
#include <toolbelt2/path.h>
#include <toolbelt2/text.h>

#include <cerrno>
#include <set>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

class PlaceList {
public:
    PlaceList(ISearchEnv& environment, search_category_t category, std::string const& name,
              std::string const& binary)
        : m_environment(environment), m_category(category), m_name(name), m_binary(binary) {}

    void add(search_step_t step);
    std::vector<SearchedPlace> take() { return std::move(m_places); }

private:
    void addArchives();
    void addSearchDirs(search_step_t step);
    void addIf(bool applies, search_step_t step, std::string path, bool recursive = false) {
        if (applies)
            m_places.push_back({step, std::move(path), recursive});
    }

    ISearchEnv& m_environment;
    search_category_t m_category;
    std::string const& m_name;
    std::string const& m_binary;
    std::vector<SearchedPlace> m_places;
};

void PlaceList::addArchives() {
    std::string const bare = utils::getFileNameOnly(m_name.c_str());
    for (search_category_t const category : {m_category, scAllFiles})
        forEachDirectory(m_environment.archiveDirs(category),
                         [&](char const* directory, bool, bool) {
                             addIf(directory != nullptr, ssArchiveSearchDirs,
                                   toolbelt2::join_path(directory, bare), true);
                         });
}

void PlaceList::addSearchDirs(search_step_t step) {
    for (search_category_t const category : {m_category, scAllFiles})
        forEachDirectory(
            m_environment.searchDirs(category),
            [&](char const* directory, bool recursive, bool priority) {
                addIf(directory != nullptr && priority == (step == ssHighPrioritySearchDirs), step,
                      directory, recursive);
            });
}

void PlaceList::add(search_step_t step) {
    switch (step) {
    case ssArchiveSearchDirs:
        return addArchives();
    case ssHighPrioritySearchDirs:
    case ssLowPrioritySearchDirs:
        return addSearchDirs(step);
    case ssCacheSearchDir:
        return addIf(*m_environment.cacheDir() != '\0', step, m_environment.cacheDir(), true);
    case ssAbsoluteNameLookup:
        return addIf(toolbelt2::starts_with(m_name, "/"), step, m_name);
    case ssAroundBinaryLookup:
        return addIf(m_category == scSymbolFiles && !m_binary.empty(), step,
                     toolbelt2::parent_of(m_binary));
    case ssSystemDirs:
        return addIf(m_name.find("[guest]") == std::string::npos, step, "");
    default:
        return;
    }
}

class UnreadWalk {
public:
    void visit(SearchedPlace const& place) {
        m_visited.clear();
        visit(place.step, place.path, place.recursive);
    }
    std::vector<UnreadPlace> take() { return std::move(m_unread); }

private:
    void visit(search_step_t step, std::string const& path, bool recursive);

    std::vector<UnreadPlace> m_unread;
    std::set<std::pair<dev_t, ino_t>> m_visited;
};

void UnreadWalk::visit(search_step_t step, std::string const& path, bool recursive) {
    if (std::error_code const error = whyUnread(path)) {
        m_unread.push_back({step, path, error});
        return;
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        !m_visited.emplace(status.st_dev, status.st_ino).second)
        return;
    if (::euidaccess(path.c_str(), recursive ? R_OK | X_OK : X_OK) != 0)
        m_unread.push_back({step, path, {errno, std::generic_category()}});
    else if (recursive)
        for (char const* const name :
             toolbelt2::read_directory(path.c_str(), true, [](char const*) {}).subdirectories)
            visit(step, toolbelt2::join_path(path, name), true);
}

} // namespace

std::vector<SearchedPlace> searchedPlaces(ISearchEnv& environment, search_category_t category,
                                          std::string const& name, std::string const& binary) {
    PlaceList places(environment, category, name, binary);
    auto const steps = environment.searchStepsConfigurator()->getSearchStepsIterator(category, 0);
    search_step_t step{};
    for (steps->reset(); steps->current(step); steps->next())
        places.add(step);
    return places.take();
}

std::vector<UnreadPlace> unreadPlaces(std::vector<SearchedPlace> const& places) {
    UnreadWalk walk;
    for (SearchedPlace const& place : places)
        if (!place.path.empty())
            walk.visit(place);
    return walk.take();
}

std::error_code whyUnread(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 || errno == ENOENT || errno == ENOTDIR)
        return {};
    return {errno, std::generic_category()};
}

} // namespace lokata::cli
