#pragma once

#include "lk_default_callbacks.h"

#include <map>
#include <string>

namespace LK_2_13 {

class SearchManipulator : public RefCountImpl<ISearchManipulator> {
public:
    SearchManipulator(ObjectPtr<IResolutionContext> context,
                      ObjectPtr<IEditableSearchDirContainer> searchDirs,
                      ObjectPtr<ISearchHistory> history);
    /// Releases the captures that were set through this object and not undone.
    ~SearchManipulator() override;

    ObjectPtr<IEditableSearchDirContainer> getUserDefinedSearchDirs() override;
    ObjectPtr<ISearchHistory> getHistory() override;
    bool setSearchStartedBehavior(char const* clientId, search_started_behavior_t) override;
    bool setOwnSearchStartedCallback(char const* clientId, ISearchStartedCallback*) override;
    bool setFilesFoundBehavior(char const* clientId, files_found_behavior_t) override;
    bool setOwnFilesFoundCallback(char const* clientId, IFilesFoundCallback*) override;
    bool setNoFilesFoundBehavior(char const* clientId, no_files_found_behavior_t) override;
    bool setOwnNoFilesFoundCallback(char const* clientId, INoFilesFoundCallback*) override;
    bool setSearchDirsBehavior(char const* clientId, search_dirs_behavior_t) override;

    /// The default callback of a client, made and registered on first use.
    ObjectPtr<DefaultSearchStartedCallback> getSearchStartedCallback(char const* clientId);
    ObjectPtr<DefaultFilesFoundCallback> getFilesFoundCallback(char const* clientId);
    ObjectPtr<DefaultNoFilesFoundCallback> getNoFilesFoundCallback(char const* clientId);

private:
    template <class TDefault>
    using callbacks_t = std::map<std::string, ObjectPtr<TDefault>>;

    template <class TDefault>
    ObjectPtr<TDefault> getCallback(callbacks_t<TDefault>& callbacks, char const* clientId);

    ObjectPtr<IEditableSearchDirContainer> m_pUserDefinedSearchDirs;
    ObjectPtr<ISearchHistory> m_pHistory;
    callbacks_t<DefaultSearchStartedCallback> m_searchStartedCallbacks;
    callbacks_t<DefaultFilesFoundCallback> m_filesFoundCallbacks;
    callbacks_t<DefaultNoFilesFoundCallback> m_noFilesFoundCallbacks;
    /// The last value set for each client.
    std::map<std::string, search_dirs_behavior_t> m_searchDirsBehaviors;
    ObjectPtr<IResolutionContextMgr> m_pContextMgr;
    ObjectPtr<IResolutionContext> m_pContext;
};

} // namespace LK_2_13
