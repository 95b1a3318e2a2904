#pragma once

#include <lokata2/context.h>
#include <lokata2/search_history.h>

namespace LK_2_13 {

/// Values without a name act like the last named one.
enum search_started_behavior_t : std::uint32_t {
    ssbNoHistory = 0,
    /// A remembered file is suggested and the steps still run.
    ssbSuggestFromHistory = 1,
    /// A remembered file is suggested and no step runs.
    ssbUseHistoryOnly = 2
};

enum files_found_behavior_t : std::uint32_t {
    ffbNoHistory = 0,
    /// The client's answer, or else the first valid file, is remembered.
    ffbUpdateHistory = 1
};

enum no_files_found_behavior_t : std::uint32_t {
    nfbNoHistory = 0,
    /// The same as `nfbNoHistory`.
    nfbNoHistoryUpdate = 1,
    /// The client's answer, or the fact that there was none, is remembered.
    nfbUpdateHistory = 2
};

/// Values without a name are stored and do nothing.
enum search_dirs_behavior_t : std::uint32_t {
    sdbRelease = 0,
    /// Capture now; released again when the manipulator goes.
    sdbCapture = 1
};

/// Sets for one context, and for each client id, how searches behave, so that a client states a
/// behaviour and registers no callbacks of its own. What it set up ends with the manipulator.
///
/// A manipulator is used from one thread at a time. Behaviours and own callbacks belong to the
/// set-up phase, before searches of that client run. Setters give false for a null client id and
/// true otherwise.
class LOKATA2_EXPORT ISearchManipulator : public ILKObject {
public:
    /// The container that was given, or an own one. The library only stores it. Never null.
    virtual ObjectPtr<IEditableSearchDirContainer> getUserDefinedSearchDirs() = 0;
    /// Never null.
    virtual ObjectPtr<ISearchHistory> getHistory() = 0;
    virtual bool setSearchStartedBehavior(char const* clientId, search_started_behavior_t) = 0;
    /// The client's own callback, called before the behaviour applies. Not owned and not watched:
    /// it must outlive the manipulator or be set to null.
    virtual bool setOwnSearchStartedCallback(char const* clientId, ISearchStartedCallback*) = 0;
    virtual bool setFilesFoundBehavior(char const* clientId, files_found_behavior_t) = 0;
    virtual bool setOwnFilesFoundCallback(char const* clientId, IFilesFoundCallback*) = 0;
    virtual bool setNoFilesFoundBehavior(char const* clientId, no_files_found_behavior_t) = 0;
    virtual bool setOwnNoFilesFoundCallback(char const* clientId, INoFilesFoundCallback*) = 0;
    virtual bool setSearchDirsBehavior(char const* clientId, search_dirs_behavior_t) = 0;
};

/// Never null. Null `searchDirs` and `history` are replaced by new, empty ones; two manipulators
/// may share them. With a null `context` nothing is registered and nothing captured: the setters
/// keep what they are given, and no search hears of it.
LOKATA2_EXPORT ObjectPtr<ISearchManipulator>
createSearchManipulatorByContext(ObjectPtr<IResolutionContext> context,
                                 ObjectPtr<IEditableSearchDirContainer> searchDirs,
                                 ObjectPtr<ISearchHistory> history);

} // namespace LK_2_13
