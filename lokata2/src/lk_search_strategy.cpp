#include "lk_search_strategy.h"

#include "lk_log.h"
#include "lk_path.h"
#include "lk_search_steps_config.h"
#include "lk_searchenv_dirs.h"
#include "lk_text.h"

#include <lokata2/utils.h>

namespace LK_2_13 {

namespace {

constexpr char const* c_guestMarker = "[guest]";

/// A name in a client's own list may be null; that record is not searched.
template <class Visit>
void forEachNamedDirectory(ObjectPtr<ISearchDirIterator> const& iterator, Visit visit) {
    forEachDirectory(
        iterator,
        [&](char const* name, bool recursive, bool priority) {
            if (name != nullptr)
                visit(name, recursive, priority);
        });
}

} // namespace

BasicFileSearchStrategy::BasicFileSearchStrategy(ISearchEnv* env, char const* fileName)
    : m_pSearchEnv(env), m_fileName(orEmpty(fileName)) {}

/// An archive keeps a file below a directory of its name, one subdirectory for each checksum. So
/// only that directory is walked, always recursively, whatever the flags of the record say.
bool BasicFileSearchStrategy::findInArchiveDirs(ISearchResultsContainer& results) {
    if (m_pSearchEnv == nullptr)
        return false;
    FilesFinder finder(ssArchiveSearchDirs, this);
    std::string const bare(paths::fileName(fileToSearch()));
    auto const add = [&](char const* name, bool, bool) {
        finder.addSearchDirectory(paths::join(name, bare).c_str(), true);
    };
    forEachNamedDirectory(m_pSearchEnv->archiveDirs(getCategorySpecific()), add);
    forEachNamedDirectory(m_pSearchEnv->archiveDirs(scAllFiles), add);
    return finder.find(bare.c_str(), results);
}

bool BasicFileSearchStrategy::findInHighPriorityDirs(ISearchResultsContainer& results) {
    return findInPriorityDirs(results, true);
}

bool BasicFileSearchStrategy::lookUpAbsoluteName(ISearchResultsContainer& results) {
    return paths::isRooted(m_fileName) &&
           results.validateAndAdd(m_fileName.c_str(), ssAbsoluteNameLookup);
}

bool BasicFileSearchStrategy::lookUpAroundBinary(ISearchResultsContainer&) {
    return false;
}

bool BasicFileSearchStrategy::findInLowPriorityDirs(ISearchResultsContainer& results) {
    return findInPriorityDirs(results, false);
}

bool BasicFileSearchStrategy::findInSystemDirs(ISearchResultsContainer& results) {
    return !isGuestName() && walkSystemDirs(m_fileName, results);
}

bool BasicFileSearchStrategy::findInCacheDir(ISearchResultsContainer& results) {
    if (m_pSearchEnv == nullptr)
        return false;
    FilesFinder finder(ssCacheSearchDir, this);
    std::string const bare = utils::getFileNameOnly(fileToSearch());
    char const* const cacheDir = cacheDirOrReport();
    if (cacheDir == nullptr)
        return false;
    finder.addSearchDirectory(cacheDir, true);
    return finder.find(bare.c_str(), results);
}

ISearchEnv* BasicFileSearchStrategy::getSearchEnv() const {
    return m_pSearchEnv;
}

char const* BasicFileSearchStrategy::fileToSearch() {
    return m_fileName.c_str();
}

ObjectPtr<ISearchStepsIterator>
BasicFileSearchStrategy::getSearchStepsIterator(unsigned long long stepsSelector) {
    ObjectPtr<ISearchStepsConfigurator> configurator;
    if (m_pSearchEnv != nullptr)
        configurator = m_pSearchEnv->searchStepsConfigurator();
    if (configurator)
        return configurator->getSearchStepsIterator(getCategorySpecific(), stepsSelector);
    DefaultSearchStepsConfigurator defaults;
    return defaults.getSearchStepsIterator(getCategorySpecific(), stepsSelector);
}

bool BasicFileSearchStrategy::find(std::string const&, bool, std::string const&,
                                   ISearchResultsContainer&, bool& skipDirectory) {
    skipDirectory = false;
    return false;
}

bool BasicFileSearchStrategy::isGuestName() const {
    return m_fileName.find(c_guestMarker) != std::string::npos;
}

bool BasicFileSearchStrategy::walkSystemDirs(std::string const& name,
                                             ISearchResultsContainer& results) {
    FilesFinder finder(ssSystemDirs, this);
    fillSystemDirs(finder);
    return finder.find(name.c_str(), results);
}

char const* BasicFileSearchStrategy::cacheDirOrReport() const {
    char const* const cacheDir = m_pSearchEnv->cacheDir();
    if (cacheDir != nullptr && *cacheDir != '\0')
        return cacheDir;
    LK_LOG_ERROR("Empty directory name.");
    return nullptr;
}

/// Two walks of their own: a directory that stands in both lists is searched twice.
bool BasicFileSearchStrategy::findInPriorityDirs(ISearchResultsContainer& results,
                                                 bool highPriority) {
    if (m_pSearchEnv == nullptr)
        return false;
    return findInSearchDirs(results, m_pSearchEnv->searchDirs(getCategorySpecific()),
                            highPriority) ||
           findInSearchDirs(results, m_pSearchEnv->searchDirs(scAllFiles), highPriority);
}

bool BasicFileSearchStrategy::findInSearchDirs(ISearchResultsContainer& results,
                                               ObjectPtr<ISearchDirIterator> const& iterator,
                                               bool highPriority) {
    FilesFinder finder(highPriority ? ssHighPrioritySearchDirs : ssLowPrioritySearchDirs, this);
    forEachNamedDirectory(iterator, [&](char const* name, bool recursive, bool priority) {
        if (priority == highPriority)
            finder.addSearchDirectory(name, recursive);
    });
    if (finder.find(fileToSearch(), results))
        return true;
    std::size_t const marker = m_fileName.find(c_guestMarker);
    if (marker == std::string::npos)
        return false;
    // Without the character in front of the marker, which is the separator. A name that begins with
    // the marker is taken whole, since the count wraps around. Both are meant: what stands in front
    // is the guest's own path, and a name without one is all there is to look for.
    std::string const guestPath = paths::join(c_guestMarker, m_fileName.substr(0, marker - 1));
    return finder.find(guestPath.c_str(), results);
}

} // namespace LK_2_13
