#pragma once

#include <lokata2/search_manipulator.h>

#include <atomic>
#include <string>

/// The callbacks by which a manipulator states a behaviour: each calls the client's own callback
/// and reads or feeds the history. The decision of each moment is written once, in `process...`; a
/// handler on the stack carries what differs between the categories.
namespace LK_2_13 {

class ISearchStartedHandler {
public:
    virtual bool callUserCallback(IStringContainer& suggestions) = 0;
    virtual ObjectPtr<IFileAssociation> lookupHistory() = 0;

protected:
    ~ISearchStartedHandler() = default;
};

class IFilesFoundHandler {
public:
    virtual ObjectPtr<IValidFile> callUserCallback(IValidFileIterator& files) = 0;
    virtual void updateHistory(char const* resolvedName) = 0;

protected:
    ~IFilesFoundHandler() = default;
};

class INoFilesFoundHandler {
public:
    virtual ObjectPtr<IValidFile> callUserCallback() = 0;
    virtual void updateHistory(char const* resolvedName) = 0;

protected:
    ~INoFilesFoundHandler() = default;
};

/// What the three default callbacks have in common. `TCallback` is the callback interface,
/// `TBehavior` the behaviour that goes with it, `Register` the operation that puts it on a context.
///
/// A default callback registers itself at the end of its construction. Its destructor first takes
/// it out of the context's metadata, and then cuts it off from every holder that still points at
/// it: that waits for calls that run on other threads, and no environment made earlier can call it
/// afterwards. Both have to happen in the class at hand, not in this base, where a call could meet
/// an object that is half made or half gone. Leaving stores null under the key, also if somebody
/// else has registered there since; that is meant, the key belongs to one manipulator at a time.
template <class TCallback, class TBehavior,
          bool (IResolutionContextMgr::*Register)(IResolutionContext&, char const*, TCallback*)>
class DefaultCallback : public TCallback, public RefCountImpl<ILKObject> {
public:
    void setBehavior(TBehavior behavior) { m_behavior = behavior; }
    /// Not owned, not watched.
    void setUserCallback(TCallback* callback) { m_pUserCallback = callback; }

protected:
    DefaultCallback(ObjectPtr<ISearchHistory> const& history,
                    ObjectPtr<IResolutionContext> const& context, char const* clientId)
        : m_pHistory(history)
        , m_pContextMgr(IResolutionContextMgr::create())
        , m_pContext(context)
        , m_clientId(clientId) {}
    ~DefaultCallback() override = default;

    void enter() { registerOnContext(this); }

    void leave() {
        registerOnContext(nullptr);
        this->disconnectHandlers();
    }

    ObjectPtr<ISearchHistory> m_pHistory;
    /// The manipulator sets these two when the callback is registered already and searches may
    /// call it. Each is atomic by itself; nothing guards the two together.
    std::atomic<TCallback*> m_pUserCallback{nullptr};
    std::atomic<TBehavior> m_behavior{TBehavior{}};

private:
    void registerOnContext(TCallback* callback) {
        if (m_pContext)
            (m_pContextMgr.get()->*Register)(*m_pContext, m_clientId.c_str(), callback);
    }

    ObjectPtr<IResolutionContextMgr> m_pContextMgr;
    ObjectPtr<IResolutionContext> m_pContext;
    std::string m_clientId;
};

class DefaultSearchStartedCallback final
    : public DefaultCallback<ISearchStartedCallback, search_started_behavior_t,
                             &IResolutionContextMgr::registerSearchStartedCallback> {
public:
    DefaultSearchStartedCallback(ObjectPtr<ISearchHistory> const& history,
                                 ObjectPtr<IResolutionContext> const& context, char const* clientId)
        : DefaultCallback(history, context, clientId) {
        enter();
    }
    ~DefaultSearchStartedCallback() override { leave(); }

    bool binFileSearchStarted(char const* fileName, IStringContainer& suggestions) override;
    bool symFileSearchStarted(char const* fileName, char const* binaryName, char const* checksum,
                              IStringContainer& suggestions) override;
    bool srcFileSearchStarted(char const* fileName, char const* binaryName, char const* checksum,
                              IStringContainer& suggestions) override;

private:
    bool processSearchStarted(ISearchStartedHandler& handler, IStringContainer& suggestions);
};

class DefaultFilesFoundCallback final
    : public DefaultCallback<IFilesFoundCallback, files_found_behavior_t,
                             &IResolutionContextMgr::registerFilesFoundCallback> {
public:
    DefaultFilesFoundCallback(ObjectPtr<ISearchHistory> const& history,
                              ObjectPtr<IResolutionContext> const& context, char const* clientId)
        : DefaultCallback(history, context, clientId) {
        enter();
    }
    ~DefaultFilesFoundCallback() override { leave(); }

    ObjectPtr<IValidFile> binFilesFound(char const* fileName, IValidFileIterator& files) override;
    ObjectPtr<IValidFile> symFilesFound(char const* fileName, char const* binaryName,
                                        char const* checksum, IValidFileIterator& files) override;
    ObjectPtr<IValidFile> srcFilesFound(char const* fileName, char const* binaryName,
                                        char const* checksum, IValidFileIterator& files) override;

private:
    ObjectPtr<IValidFile> processFilesFound(IFilesFoundHandler& handler, IValidFileIterator& files);
};

class DefaultNoFilesFoundCallback final
    : public DefaultCallback<INoFilesFoundCallback, no_files_found_behavior_t,
                             &IResolutionContextMgr::registerNoFilesFoundCallback> {
public:
    DefaultNoFilesFoundCallback(ObjectPtr<ISearchHistory> const& history,
                                ObjectPtr<IResolutionContext> const& context, char const* clientId)
        : DefaultCallback(history, context, clientId) {
        enter();
    }
    ~DefaultNoFilesFoundCallback() override { leave(); }

    ObjectPtr<IValidFile> noBinFilesFound(char const* fileName, IValidator& validator,
                                          IInvalidFileIterator& invalidFiles,
                                          IValidFileIterator& validFiles) override;
    ObjectPtr<IValidFile> noSymFilesFound(char const* fileName, char const* binaryName,
                                          char const* checksum, IValidator& validator,
                                          IInvalidFileIterator& invalidFiles,
                                          IValidFileIterator& validFiles) override;
    ObjectPtr<IValidFile> noSrcFilesFound(char const* fileName, char const* binaryName,
                                          char const* checksum, IValidator& validator,
                                          IInvalidFileIterator& invalidFiles,
                                          IValidFileIterator& validFiles) override;

private:
    ObjectPtr<IValidFile> processNoFilesFound(INoFilesFoundHandler& handler);
};

} // namespace LK_2_13
