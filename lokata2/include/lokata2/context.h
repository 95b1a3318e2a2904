#pragma once

#include <lokata2/file_search.h>
#include <lokata2/search_env.h>
#include <lokata2/utils.h>

namespace LK_2_13 {

/// A named scope of search settings: a directory, a user, or the result directory of one run. The
/// object holds its id and nothing else; contexts with equal ids are the same context. Clients may
/// implement it.
class LOKATA2_EXPORT IResolutionContext : public ILKObject {
public:
    /// Owned by the object. Null reads as the empty id.
    virtual char const* getUniqueID() const = 0;
};

/// Keeps what clients register on contexts, and folds a context and its ancestors into the
/// environment of a search. One manager per process at a time: all that was registered ends with
/// the last reference, so a client that wants its settings to last holds one. Callable from any
/// thread.
///
/// A registration affects one context. Registering again under the same key replaces the earlier
/// value; null clears it. Under the empty client id a registration serves any client, as far as
/// `createSearchEnv` says. Callbacks may die at any moment; retrievers and messengers are not owned
/// and must be registered as null before they go.
class LOKATA2_EXPORT IResolutionContextMgr : public ILKObject {
public:
    static ObjectPtr<IResolutionContextMgr> create();

    /// Makes `parent` the one parent of `child`; the last call wins. Always true. Nothing stops a
    /// ring, and a walk up a ring never ends.
    virtual bool addInheritance(IResolutionContext& child, IResolutionContext& parent) = 0;

    /// `key` tells the containers of one context from another; all of them serve every client. A
    /// null key raises `std::logic_error`.
    virtual void registerSearchDirs(IResolutionContext& context,
                                    ObjectPtr<ISearchDirContainer> const& container,
                                    char const* key) = 0;
    /// Null is ignored, an empty text unsets the directory.
    virtual void registerArchiveDir(IResolutionContext& context, char const* dir) = 0;
    /// As above, but without a lock: not while another thread assembles an environment from this
    /// context or from one below it.
    virtual void registerCacheDir(IResolutionContext& context, char const* dir) = 0;

    /// This and the next three: true if the callback is registered; false, and nothing is changed,
    /// for a null client id.
    virtual bool registerSearchStartedCallback(IResolutionContext& context, char const* clientId,
                                               ISearchStartedCallback* callback) = 0;
    virtual bool registerFilesFoundCallback(IResolutionContext& context, char const* clientId,
                                            IFilesFoundCallback* callback) = 0;
    virtual bool registerNoFilesFoundCallback(IResolutionContext& context, char const* clientId,
                                              INoFilesFoundCallback* callback) = 0;
    virtual bool
    registerConfidenceLevelPolicyCallback(IResolutionContext& context, char const* clientId,
                                          IConfidenceLevelPolicyCallback* callback) = 0;

    /// Freezes what the client now gets as search directories from this context and its ancestors.
    /// A null client id raises `std::logic_error` and changes nothing.
    virtual void captureSearchDirs(IResolutionContext& context, char const* clientId) = 0;
    /// Ends a capture; harmless if there is none. A null client id raises `std::logic_error`.
    virtual void releaseSearchDirs(IResolutionContext& context, char const* clientId) = 0;

    /// Never null. For what has one value the nearest context wins; search and archive directories
    /// add up, nearest first. A null client id gets directories only. `environmentInfo` may be null
    /// and outranks what contexts have. Search directories stay live: later additions to a
    /// registered container are seen.
    virtual ObjectPtr<ISearchEnv>
    createSearchEnv(IResolutionContext& context, char const* clientId,
                    ObjectPtr<IEnvironmentInfo> const& environmentInfo) = 0;
    /// A search over `createSearchEnv` with the same arguments.
    virtual ObjectPtr<IFileSearch>
    createFileSearch(IResolutionContext& context, char const* clientId,
                     ObjectPtr<IEnvironmentInfo> const& environmentInfo) = 0;

    /// The context of a directory that holds the results of one run: its `archive` below it is the
    /// archive directory, `binaries`, `symbols`, `sources`, `all` and the directory itself are
    /// search directories of high priority. Null for a null or empty `dir`.
    virtual ObjectPtr<IResolutionContext> createResultDirectoryContext(char const* dir) = 0;
    /// The context of the user who runs the process.
    virtual ObjectPtr<IResolutionContext> createUserWideContext() = 0;
    /// Its id is the normal form of `dir`, with one separator at its end if `addTrailingSeparator`:
    /// the two forms are two contexts. Null for a null or empty `dir`.
    virtual ObjectPtr<IResolutionContext> createFileSystemContext(char const* dir,
                                                                  bool addTrailingSeparator) = 0;

    /// Copies a file into the nearest archive on the way up, under its category. A null file gives
    /// `afNoChecksum` where there is an archive.
    virtual archive_result_t archiveFile(IResolutionContext& context, char const* file,
                                         search_category_t category) = 0;

    /// This and the next three: always true. A null client id raises `std::logic_error`.
    virtual bool registerFileRetriever(IResolutionContext& context, char const* clientId,
                                       IFileRetriever* retriever) = 0;
    virtual bool
    registerSearchStepsConfigurator(IResolutionContext& context, char const* clientId,
                                    ObjectPtr<ISearchStepsConfigurator> configurator) = 0;
    virtual bool registerMessenger(IResolutionContext& context, char const* clientId,
                                   herald2::IMessenger* messenger) = 0;
    virtual bool registerEnvironmentInfo(IResolutionContext& context, char const* clientId,
                                         ObjectPtr<IEnvironmentInfo> info) = 0;
};

} // namespace LK_2_13
