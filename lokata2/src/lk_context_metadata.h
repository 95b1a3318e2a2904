#pragma once

#include <lokata2/search_dir_chain.h>
#include <lokata2/search_env.h>

#include "lk_lock.h"

#include <map>
#include <string>

/// The record of all that is registered on one context: keyed slots, which know nothing of parents
/// and of the precedence between keys. Setters replace, getters never make an entry, and nothing is
/// removed. Maps are ordered by the bytes of their keys.
namespace LK_2_13 {

/// The callbacks of one client on one context. Each copy of a holder watches its callback by
/// itself.
struct lokata_callbacks_t {
    CallbackHolder<ISearchStartedCallback> searchStarted;
    CallbackHolder<IFilesFoundCallback> filesFound;
    CallbackHolder<INoFilesFoundCallback> noFilesFound;
    CallbackHolder<IConfidenceLevelPolicyCallback> confidenceLevelPolicy;
};

/// Walks the containers of a metadata by their keys, once. Holds the lock of the metadata shared as
/// long as it lives: keep it short, and call nothing exclusive on that metadata meanwhile. Counted,
/// so the analysis of locks does not see the hold where it is used.
class ISearchDirKeyIterator : public ILKObject {
public:
    /// Moves on. True if a record is now current; at the end it stays and gives false.
    virtual bool next() = 0;
    /// False at the end, with the arguments untouched. `key` is valid while the iterator lives.
    virtual bool getCurrentRecord(char const*& key, ObjectPtr<ISearchDirContainer>& container) = 0;
};

/// Callable from any thread. A null `char const*` key raises `std::logic_error`.
class IMetadata : public ILKObject {
public:
    /// Null if the key is absent.
    virtual ObjectPtr<ISearchDirContainer> getSearchDirs(char const* key) = 0;
    virtual void setSearchDirs(ObjectPtr<ISearchDirContainer> const& container,
                               char const* key) = 0;
    /// Takes the lock shared. The hold passes to the iterator, which lets it go with its end.
    virtual ObjectPtr<ISearchDirKeyIterator> searchDirsKeyIterator() = 0;
    /// Reads the callbacks of the key and writes them back with the new one, in two separate holds
    /// of the lock: of two threads that register different callbacks for one key at the same
    /// moment, the later can bring back the older value of the other's field. That is meant: a
    /// client registers its callbacks on one thread, and the setting of the new one takes the locks
    /// of its callback, which are best taken without this one.
    virtual void registerSearchStartedCallback(std::string const& key,
                                               ISearchStartedCallback* callback) = 0;
    virtual void registerFilesFoundCallback(std::string const& key,
                                            IFilesFoundCallback* callback) = 0;
    virtual void registerNoFilesFoundCallback(std::string const& key,
                                              INoFilesFoundCallback* callback) = 0;
    virtual void
    registerConfidenceLevelPolicyCallback(std::string const& key,
                                          IConfidenceLevelPolicyCallback* callback) = 0;
    /// Empty holders if the key is absent.
    virtual lokata_callbacks_t getCallbacks(std::string const& key) = 0;
    /// Null is ignored, an empty text unsets.
    virtual void setArchiveDir(char const* dir) = 0;
    virtual std::string getArchiveDir() = 0;
    /// As the archive directory, but without the lock.
    virtual void setCacheDir(char const* dir) = 0;
    virtual std::string getCacheDir() = 0;
    /// Null for no capture.
    virtual void setCapturedSearchDirs(std::string const& key,
                                       ObjectPtr<ICapturedSearchDirs> captured) = 0;
    virtual ObjectPtr<ICapturedSearchDirs> getCapturedSearchDirs(std::string const& key) = 0;
    /// Not owned.
    virtual void registerFileRetriever(std::string const& key, IFileRetriever* retriever) = 0;
    virtual IFileRetriever* getFileRetriever(std::string const& key) = 0;
    virtual void
    registerSearchStepsConfigurator(char const* key,
                                    ObjectPtr<ISearchStepsConfigurator> configurator) = 0;
    virtual ObjectPtr<ISearchStepsConfigurator> getSearchStepsConfigurator(char const* key) = 0;
    /// Not owned.
    virtual void registerMessenger(char const* key, herald2::IMessenger* messenger) = 0;
    virtual herald2::IMessenger* getMessenger(char const* key) = 0;
    virtual void registerEnvironmentInfo(char const* key, ObjectPtr<IEnvironmentInfo> info) = 0;
    virtual ObjectPtr<IEnvironmentInfo> getEnvironmentInfo(char const* key) = 0;
};

class SearchDirKeyIterator : public RefCountImpl<ISearchDirKeyIterator> {
public:
    using search_dirs_t = std::map<std::string, ObjectPtr<ISearchDirContainer>>;

    /// Takes `lock` shared, for as long as it lives. Both belong to a metadata that must outlive
    /// it.
    SearchDirKeyIterator(search_dirs_t const& searchDirs, ISpinSharedLock* lock);
    ~SearchDirKeyIterator() override;

    bool next() override;
    bool getCurrentRecord(char const*& key, ObjectPtr<ISearchDirContainer>& container) override;

private:
    /// What the constructor has done and the destructor undoes.
    void assertHeld() const TOOLBELT2_ASSERT_SHARED(m_pLock) {}

    search_dirs_t const& m_searchDirs TOOLBELT2_GUARDED_BY(m_pLock);
    search_dirs_t::const_iterator m_current TOOLBELT2_GUARDED_BY(m_pLock);
    ISpinSharedLock* const m_pLock;
};

class Metadata : public RefCountImpl<IMetadata> {
public:
    ObjectPtr<ISearchDirContainer> getSearchDirs(char const* key) override;
    void setSearchDirs(ObjectPtr<ISearchDirContainer> const& container, char const* key) override;
    /// Not analysed: the iterator gets a reference to `m_searchDirs`, and uses it under the hold
    /// that its constructor takes.
    ObjectPtr<ISearchDirKeyIterator>
    searchDirsKeyIterator() override TOOLBELT2_NO_THREAD_SAFETY_ANALYSIS;
    void registerSearchStartedCallback(std::string const& key,
                                       ISearchStartedCallback* callback) override;
    void registerFilesFoundCallback(std::string const& key, IFilesFoundCallback* callback) override;
    void registerNoFilesFoundCallback(std::string const& key,
                                      INoFilesFoundCallback* callback) override;
    void registerConfidenceLevelPolicyCallback(std::string const& key,
                                               IConfidenceLevelPolicyCallback* callback) override;
    lokata_callbacks_t getCallbacks(std::string const& key) override;
    void setArchiveDir(char const* dir) override;
    std::string getArchiveDir() override;
    void setCacheDir(char const* dir) override;
    std::string getCacheDir() override;
    void setCapturedSearchDirs(std::string const& key,
                               ObjectPtr<ICapturedSearchDirs> captured) override;
    ObjectPtr<ICapturedSearchDirs> getCapturedSearchDirs(std::string const& key) override;
    void registerFileRetriever(std::string const& key, IFileRetriever* retriever) override;
    IFileRetriever* getFileRetriever(std::string const& key) override;
    void registerSearchStepsConfigurator(char const* key,
                                         ObjectPtr<ISearchStepsConfigurator> configurator) override;
    ObjectPtr<ISearchStepsConfigurator> getSearchStepsConfigurator(char const* key) override;
    void registerMessenger(char const* key, herald2::IMessenger* messenger) override;
    herald2::IMessenger* getMessenger(char const* key) override;
    void registerEnvironmentInfo(char const* key, ObjectPtr<IEnvironmentInfo> info) override;
    ObjectPtr<IEnvironmentInfo> getEnvironmentInfo(char const* key) override;

private:
    template <class T>
    void registerCallback(std::string const& key, CallbackHolder<T> lokata_callbacks_t::*field,
                          T* callback);

    template <class T>
    using by_key_t = std::map<std::string, T>;

    by_key_t<lokata_callbacks_t> m_callbacks TOOLBELT2_GUARDED_BY(m_lock);
    SearchDirKeyIterator::search_dirs_t m_searchDirs TOOLBELT2_GUARDED_BY(m_lock);
    std::string m_archiveDir TOOLBELT2_GUARDED_BY(m_lock);
    /// Set up before it is read: the one field that the lock does not guard.
    std::string m_cacheDir;
    by_key_t<ObjectPtr<ICapturedSearchDirs>> m_capturedSearchDirs TOOLBELT2_GUARDED_BY(m_lock);
    LKSpinSharedLock m_lock;
    by_key_t<IFileRetriever*> m_fileRetrievers TOOLBELT2_GUARDED_BY(m_lock);
    by_key_t<ObjectPtr<ISearchStepsConfigurator>>
        m_searchStepsConfigurators TOOLBELT2_GUARDED_BY(m_lock);
    by_key_t<herald2::IMessenger*> m_messengers TOOLBELT2_GUARDED_BY(m_lock);
    by_key_t<ObjectPtr<IEnvironmentInfo>> m_environmentInfos TOOLBELT2_GUARDED_BY(m_lock);
};

} // namespace LK_2_13
