#pragma once

#include <lokata2/context.h>

#include "lk_context_metadata.h"
#include "lk_lock.h"

#include <map>
#include <string>

namespace LK_2_13 {

/// Guards the pointer to the one manager, and its counter: the last release and the look-up of the
/// pointer exclude each other. The name is spelt so.
extern LKLock g_resoulutionContextMgrLock;

/// An id and nothing else.
class BasicResolutionContext : public RefCountImpl<IResolutionContext> {
public:
    explicit BasicResolutionContext(char const* id);
    /// Copies the id of another context, so that the other may go.
    explicit BasicResolutionContext(IResolutionContext const& other);

    char const* getUniqueID() const override { return m_id.c_str(); }

private:
    std::string m_id;
};

/// The id of a context as a map key. A null context and a null id are the empty key.
class ResolutionContextKey {
public:
    explicit ResolutionContextKey(IResolutionContext const* context);

    std::string const& text() const { return m_text; }

private:
    std::string m_text;
};

struct ResolutionContextKeyLess {
    bool operator()(ResolutionContextKey const& a, ResolutionContextKey const& b) const;
};

class ResolutionContextMgr : public RefCountImpl<IResolutionContextMgr> {
public:
    /// The one live manager, or null. Holds no reference.
    static ResolutionContextMgr* s_instance TOOLBELT2_GUARDED_BY(g_resoulutionContextMgrLock);

    ResolutionContextMgr();
    ~ResolutionContextMgr() override;

    int release() override;
    /// Only cuts the manager off; `release` destroys it when the lock is free.
    void onDelete() override;

    bool addInheritance(IResolutionContext& child, IResolutionContext& parent) override;
    void registerSearchDirs(IResolutionContext& context,
                            ObjectPtr<ISearchDirContainer> const& container,
                            char const* key) override;
    void registerArchiveDir(IResolutionContext& context, char const* dir) override;
    void registerCacheDir(IResolutionContext& context, char const* dir) override;
    bool registerSearchStartedCallback(IResolutionContext& context, char const* clientId,
                                       ISearchStartedCallback* callback) override;
    bool registerFilesFoundCallback(IResolutionContext& context, char const* clientId,
                                    IFilesFoundCallback* callback) override;
    bool registerNoFilesFoundCallback(IResolutionContext& context, char const* clientId,
                                      INoFilesFoundCallback* callback) override;
    bool registerConfidenceLevelPolicyCallback(IResolutionContext& context, char const* clientId,
                                               IConfidenceLevelPolicyCallback* callback) override;
    void captureSearchDirs(IResolutionContext& context, char const* clientId) override;
    void releaseSearchDirs(IResolutionContext& context, char const* clientId) override;
    ObjectPtr<ISearchEnv>
    createSearchEnv(IResolutionContext& context, char const* clientId,
                    ObjectPtr<IEnvironmentInfo> const& environmentInfo) override;
    ObjectPtr<IFileSearch>
    createFileSearch(IResolutionContext& context, char const* clientId,
                     ObjectPtr<IEnvironmentInfo> const& environmentInfo) override;
    ObjectPtr<IResolutionContext> createResultDirectoryContext(char const* dir) override;
    ObjectPtr<IResolutionContext> createUserWideContext() override;
    ObjectPtr<IResolutionContext> createFileSystemContext(char const* dir,
                                                          bool addTrailingSeparator) override;
    archive_result_t archiveFile(IResolutionContext& context, char const* file,
                                 search_category_t category) override;
    bool registerFileRetriever(IResolutionContext& context, char const* clientId,
                               IFileRetriever* retriever) override;
    bool registerSearchStepsConfigurator(IResolutionContext& context, char const* clientId,
                                         ObjectPtr<ISearchStepsConfigurator> configurator) override;
    bool registerMessenger(IResolutionContext& context, char const* clientId,
                           herald2::IMessenger* messenger) override;
    bool registerEnvironmentInfo(IResolutionContext& context, char const* clientId,
                                 ObjectPtr<IEnvironmentInfo> info) override;

    /// Null for a context without a link, which ends every walk.
    ObjectPtr<IResolutionContext> getParentContext(IResolutionContext& context);
    /// Makes the metadata of a context that was never seen before.
    ObjectPtr<IMetadata> getMetadataForContext(IResolutionContext& context);
    /// The new metadata, whether or not it went into the map: of two threads that meet here for one
    /// unknown context, the loser's registrations are lost. That is meant: the shared side cannot
    /// be upgraded, and a context is set up on one thread before several use it.
    ObjectPtr<IMetadata> addEmptyMetadata(IResolutionContext& context);
    /// Those of the one context; ancestors are not asked.
    ObjectPtr<ISearchDirContainer> getSearchDirs(IResolutionContext& context, char const* key);
    std::string getArchiveDir(IResolutionContext& context);

private:
    void forgetInstance();

    template <class T>
    using by_context_t = std::map<ResolutionContextKey, ObjectPtr<T>, ResolutionContextKeyLess>;

    by_context_t<IMetadata> m_metadata TOOLBELT2_GUARDED_BY(m_lock);
    /// From a child to its one parent.
    by_context_t<IResolutionContext> m_parents TOOLBELT2_GUARDED_BY(m_lock);
    /// Held for the operation on the map only: never across a call into a metadata or a context of
    /// a client.
    LKSpinSharedLock m_lock;
};

/// The directory of a category in an archive; "all" for any other value.
char const* archiveWord(search_category_t category);

/// For a log line: the id of a context, empty for a null one.
char const* idOf(IResolutionContext const& context);

} // namespace LK_2_13
