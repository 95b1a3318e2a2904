#include "lk_search_manipulator.h"

namespace LK_2_13 {

ObjectPtr<ISearchManipulator>
createSearchManipulatorByContext(ObjectPtr<IResolutionContext> context,
                                 ObjectPtr<IEditableSearchDirContainer> searchDirs,
                                 ObjectPtr<ISearchHistory> history) {
    return new SearchManipulator(std::move(context), std::move(searchDirs), std::move(history));
}

SearchManipulator::SearchManipulator(ObjectPtr<IResolutionContext> context,
                                     ObjectPtr<IEditableSearchDirContainer> searchDirs,
                                     ObjectPtr<ISearchHistory> history)
    : m_pUserDefinedSearchDirs(searchDirs ? std::move(searchDirs)
                                          : IEditableSearchDirContainer::create())
    , m_pHistory(history ? std::move(history) : ISearchHistory::create())
    , m_pContextMgr(IResolutionContextMgr::create())
    , m_pContext(std::move(context)) {}

SearchManipulator::~SearchManipulator() {
    if (!m_pContext)
        return;
    for (auto const& [clientId, behavior] : m_searchDirsBehaviors)
        if (behavior == sdbCapture)
            m_pContextMgr->releaseSearchDirs(*m_pContext, clientId.c_str());
}

ObjectPtr<IEditableSearchDirContainer> SearchManipulator::getUserDefinedSearchDirs() {
    return m_pUserDefinedSearchDirs;
}

ObjectPtr<ISearchHistory> SearchManipulator::getHistory() {
    return m_pHistory;
}

template <class TDefault>
ObjectPtr<TDefault> SearchManipulator::getCallback(callbacks_t<TDefault>& callbacks,
                                                   char const* clientId) {
    auto const entry = callbacks.find(clientId);
    if (entry != callbacks.end())
        return entry->second;
    ObjectPtr<TDefault> callback(new TDefault(m_pHistory, m_pContext, clientId));
    callbacks.emplace(clientId, callback);
    return callback;
}

ObjectPtr<DefaultSearchStartedCallback>
SearchManipulator::getSearchStartedCallback(char const* clientId) {
    return getCallback(m_searchStartedCallbacks, clientId);
}

ObjectPtr<DefaultFilesFoundCallback>
SearchManipulator::getFilesFoundCallback(char const* clientId) {
    return getCallback(m_filesFoundCallbacks, clientId);
}

ObjectPtr<DefaultNoFilesFoundCallback>
SearchManipulator::getNoFilesFoundCallback(char const* clientId) {
    return getCallback(m_noFilesFoundCallbacks, clientId);
}

bool SearchManipulator::setSearchStartedBehavior(char const* clientId,
                                                 search_started_behavior_t behavior) {
    if (clientId == nullptr)
        return false;
    getSearchStartedCallback(clientId)->setBehavior(behavior);
    return true;
}

bool SearchManipulator::setOwnSearchStartedCallback(char const* clientId,
                                                    ISearchStartedCallback* callback) {
    if (clientId == nullptr)
        return false;
    getSearchStartedCallback(clientId)->setUserCallback(callback);
    return true;
}

bool SearchManipulator::setFilesFoundBehavior(char const* clientId,
                                              files_found_behavior_t behavior) {
    if (clientId == nullptr)
        return false;
    getFilesFoundCallback(clientId)->setBehavior(behavior);
    return true;
}

bool SearchManipulator::setOwnFilesFoundCallback(char const* clientId,
                                                 IFilesFoundCallback* callback) {
    if (clientId == nullptr)
        return false;
    getFilesFoundCallback(clientId)->setUserCallback(callback);
    return true;
}

bool SearchManipulator::setNoFilesFoundBehavior(char const* clientId,
                                                no_files_found_behavior_t behavior) {
    if (clientId == nullptr)
        return false;
    getNoFilesFoundCallback(clientId)->setBehavior(behavior);
    return true;
}

bool SearchManipulator::setOwnNoFilesFoundCallback(char const* clientId,
                                                   INoFilesFoundCallback* callback) {
    if (clientId == nullptr)
        return false;
    getNoFilesFoundCallback(clientId)->setUserCallback(callback);
    return true;
}

/// No comparison with the value stored before: a capture that is set twice is taken twice.
bool SearchManipulator::setSearchDirsBehavior(char const* clientId,
                                              search_dirs_behavior_t behavior) {
    if (clientId == nullptr)
        return false;
    m_searchDirsBehaviors[clientId] = behavior;
    if (!m_pContext)
        return true;
    if (behavior == sdbCapture)
        m_pContextMgr->captureSearchDirs(*m_pContext, clientId);
    else if (behavior == sdbRelease)
        m_pContextMgr->releaseSearchDirs(*m_pContext, clientId);
    return true;
}

} // namespace LK_2_13
