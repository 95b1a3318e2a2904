#include "lk_context_metadata.h"

#include "lk_text.h"

namespace LK_2_13 {

namespace {

/// The value under a key, or a null one; makes no entry.
template <class TMap>
typename TMap::mapped_type valueOf(TMap const& map, std::string const& key) {
    auto const entry = map.find(key);
    return entry == map.end() ? typename TMap::mapped_type() : entry->second;
}

/// Puts a value under a key and gives the old one. That may be the last reference to an object of a
/// client: let it go after the lock, so that no destructor of a client runs under it.
template <class T>
ObjectPtr<T> exchangeValue(std::map<std::string, ObjectPtr<T>>& map, std::string const& key,
                           ObjectPtr<T> const& value) {
    ObjectPtr<T>& slot = map[key];
    ObjectPtr<T> old = slot;
    slot = value;
    return old;
}

} // namespace

SearchDirKeyIterator::SearchDirKeyIterator(search_dirs_t const& searchDirs, ISpinSharedLock* lock)
    : m_searchDirs(searchDirs), m_pLock(lock) {
    m_pLock->sharedLock();
    m_current = m_searchDirs.begin();
}

SearchDirKeyIterator::~SearchDirKeyIterator() {
    m_pLock->sharedUnlock();
}

bool SearchDirKeyIterator::next() {
    assertHeld();
    if (m_current == m_searchDirs.end())
        return false;
    return ++m_current != m_searchDirs.end();
}

bool SearchDirKeyIterator::getCurrentRecord(char const*& key,
                                            ObjectPtr<ISearchDirContainer>& container) {
    assertHeld();
    if (m_current == m_searchDirs.end())
        return false;
    key = m_current->first.c_str();
    container = m_current->second;
    return true;
}

ObjectPtr<ISearchDirContainer> Metadata::getSearchDirs(char const* key) {
    LKSpinSharedLockWrap const guard(&m_lock);
    return valueOf(m_searchDirs, requiredText(key));
}

void Metadata::setSearchDirs(ObjectPtr<ISearchDirContainer> const& container, char const* key) {
    ObjectPtr<ISearchDirContainer> old;
    LKLockWrap const guard(&m_lock);
    old = exchangeValue(m_searchDirs, requiredText(key), container);
}

ObjectPtr<ISearchDirKeyIterator> Metadata::searchDirsKeyIterator() {
    return new SearchDirKeyIterator(m_searchDirs, &m_lock);
}

template <class T>
void Metadata::registerCallback(std::string const& key,
                                CallbackHolder<T> lokata_callbacks_t::*field, T* callback) {
    lokata_callbacks_t current = getCallbacks(key);
    current.*field = callback;
    LKLockWrap const guard(&m_lock);
    m_callbacks[key] = current;
}

void Metadata::registerSearchStartedCallback(std::string const& key,
                                             ISearchStartedCallback* callback) {
    registerCallback(key, &lokata_callbacks_t::searchStarted, callback);
}

void Metadata::registerFilesFoundCallback(std::string const& key, IFilesFoundCallback* callback) {
    registerCallback(key, &lokata_callbacks_t::filesFound, callback);
}

void Metadata::registerNoFilesFoundCallback(std::string const& key,
                                            INoFilesFoundCallback* callback) {
    registerCallback(key, &lokata_callbacks_t::noFilesFound, callback);
}

void Metadata::registerConfidenceLevelPolicyCallback(std::string const& key,
                                                     IConfidenceLevelPolicyCallback* callback) {
    registerCallback(key, &lokata_callbacks_t::confidenceLevelPolicy, callback);
}

lokata_callbacks_t Metadata::getCallbacks(std::string const& key) {
    LKSpinSharedLockWrap const guard(&m_lock);
    return valueOf(m_callbacks, key);
}

void Metadata::setArchiveDir(char const* dir) {
    if (dir == nullptr)
        return;
    LKLockWrap const guard(&m_lock);
    m_archiveDir = dir;
}

std::string Metadata::getArchiveDir() {
    LKSpinSharedLockWrap const guard(&m_lock);
    return m_archiveDir;
}

void Metadata::setCacheDir(char const* dir) {
    if (dir != nullptr)
        m_cacheDir = dir;
}

std::string Metadata::getCacheDir() {
    return m_cacheDir;
}

void Metadata::setCapturedSearchDirs(std::string const& key,
                                     ObjectPtr<ICapturedSearchDirs> captured) {
    ObjectPtr<ICapturedSearchDirs> old;
    LKLockWrap const guard(&m_lock);
    old = exchangeValue(m_capturedSearchDirs, key, captured);
}

ObjectPtr<ICapturedSearchDirs> Metadata::getCapturedSearchDirs(std::string const& key) {
    LKSpinSharedLockWrap const guard(&m_lock);
    return valueOf(m_capturedSearchDirs, key);
}

void Metadata::registerFileRetriever(std::string const& key, IFileRetriever* retriever) {
    LKLockWrap const guard(&m_lock);
    m_fileRetrievers[key] = retriever;
}

/// From here on the getters take the lock exclusively although they only read. That is meant:
/// behind a registration that is under way they wait in its mutex, where a shared holder would
/// poll.
IFileRetriever* Metadata::getFileRetriever(std::string const& key) {
    LKLockWrap const guard(&m_lock);
    return valueOf(m_fileRetrievers, key);
}

void Metadata::registerSearchStepsConfigurator(char const* key,
                                               ObjectPtr<ISearchStepsConfigurator> configurator) {
    ObjectPtr<ISearchStepsConfigurator> old;
    LKLockWrap const guard(&m_lock);
    old = exchangeValue(m_searchStepsConfigurators, requiredText(key), configurator);
}

ObjectPtr<ISearchStepsConfigurator> Metadata::getSearchStepsConfigurator(char const* key) {
    LKLockWrap const guard(&m_lock);
    return valueOf(m_searchStepsConfigurators, requiredText(key));
}

void Metadata::registerMessenger(char const* key, herald2::IMessenger* messenger) {
    LKLockWrap const guard(&m_lock);
    m_messengers[requiredText(key)] = messenger;
}

herald2::IMessenger* Metadata::getMessenger(char const* key) {
    LKLockWrap const guard(&m_lock);
    return valueOf(m_messengers, requiredText(key));
}

void Metadata::registerEnvironmentInfo(char const* key, ObjectPtr<IEnvironmentInfo> info) {
    ObjectPtr<IEnvironmentInfo> old;
    LKLockWrap const guard(&m_lock);
    old = exchangeValue(m_environmentInfos, requiredText(key), info);
}

ObjectPtr<IEnvironmentInfo> Metadata::getEnvironmentInfo(char const* key) {
    LKLockWrap const guard(&m_lock);
    return valueOf(m_environmentInfos, requiredText(key));
}

} // namespace LK_2_13
