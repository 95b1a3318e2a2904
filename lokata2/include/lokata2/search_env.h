#pragma once

#include <lokata2/callbacks.h>
#include <lokata2/file_retriever.h>
#include <lokata2/search_dirs.h>
#include <lokata2/search_steps.h>

namespace herald2 {
class IMessenger;
}

namespace LK_2_13 {

/// Carried for the client; the library attaches no meaning to the values, and a client may use
/// others.
enum operating_system_type_t : std::uint32_t { osUnknown = 0, osLinux = 1 };
enum architecture_t : std::uint32_t { arUnknown = 0, arX86_64 = 1, arArm64 = 2 };

/// Facts of the machine that was profiled.
class LOKATA2_EXPORT IEnvironmentInfo : public ILKObject {
public:
    virtual operating_system_type_t osType() const = 0;
    virtual architecture_t architecture() const = 0;
    /// As `uname -r` gives it; empty if unknown, never null. Leads the search for kernels.
    virtual char const* kernelRelease() const = 0;
};

class LOKATA2_EXPORT IEditableEnvironmentInfo : public IEnvironmentInfo {
public:
    static ObjectPtr<IEditableEnvironmentInfo> create();

    virtual void setOsType(operating_system_type_t) = 0;
    virtual void setArchitecture(architecture_t) = 0;
    /// Keeps a copy; ignores null.
    virtual void setKernelRelease(char const*) = 0;
};

/// All that a search needs to know of its surroundings. Searches only read it. Getters of things
/// that nobody set give null or an empty text, a callback holder is then empty.
///
/// An environment is filled before it is handed out; it has no lock. Reading it from several
/// threads is safe as far as the objects are that it hands out.
class LOKATA2_EXPORT ISearchEnv : public ILKObject {
public:
    /// A new enumeration at each call; null reads as an empty list.
    virtual ObjectPtr<ISearchDirIterator> searchDirs(search_category_t) = 0;
    virtual ObjectPtr<ISearchDirIterator> archiveDirs(search_category_t) = 0;
    /// Owned by the environment, never null.
    virtual char const* cacheDir() = 0;
    /// The environment's own holders, never null.
    virtual CallbackHolder<ISearchStartedCallback>* searchStartedCallback() = 0;
    virtual CallbackHolder<IFilesFoundCallback>* filesFoundCallback() = 0;
    virtual CallbackHolder<INoFilesFoundCallback>* noFilesFoundCallback() = 0;
    virtual CallbackHolder<IConfidenceLevelPolicyCallback>* confidenceLevelPolicyCallback() = 0;
    virtual ObjectPtr<IEnvironmentInfo> environmentInfo() = 0;
    /// Not owned.
    virtual IFileRetriever* fileRetriever() = 0;
    virtual ObjectPtr<ISearchStepsConfigurator> searchStepsConfigurator() const = 0;
    /// Not owned.
    virtual herald2::IMessenger* messenger() = 0;
};

class LOKATA2_EXPORT IEditableSearchEnv : public ISearchEnv {
public:
    static ObjectPtr<IEditableSearchEnv> create();

    virtual void setSearchDirs(ObjectPtr<ISearchDirContainer> const&) = 0;
    virtual void setArchiveDirs(ObjectPtr<ISearchDirContainer> const&) = 0;
    /// Keeps a copy; ignores null.
    virtual void setCacheDir(char const*) = 0;
    virtual void setSearchStartedCallback(CallbackHolder<ISearchStartedCallback> const&) = 0;
    virtual void setFilesFoundCallback(CallbackHolder<IFilesFoundCallback> const&) = 0;
    virtual void setNoFilesFoundCallback(CallbackHolder<INoFilesFoundCallback> const&) = 0;
    virtual void
    setConfidenceLevelPolicyCallback(CallbackHolder<IConfidenceLevelPolicyCallback> const&) = 0;
    virtual void setEnvironmentInfo(ObjectPtr<IEnvironmentInfo> const&) = 0;
    /// Not owned: must outlive the environment, or be set to null before it goes. Set it before
    /// `IFileSearch::create`, which makes the directory to fetch files to.
    virtual void setFileRetriever(IFileRetriever* const&) = 0;
    virtual void setSearchStepsConfigurator(ObjectPtr<ISearchStepsConfigurator> const&) = 0;
    /// Not owned, as above.
    virtual void setMessenger(herald2::IMessenger*) = 0;
};

} // namespace LK_2_13
