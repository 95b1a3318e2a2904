#pragma once

#include <lokata2/search_env.h>

#include <string>

namespace LK_2_13 {

/// A passive record: nothing is defaulted or tested here.
class EditableSearchEnv : public RefCountImpl<IEditableSearchEnv> {
public:
    ObjectPtr<ISearchDirIterator> searchDirs(search_category_t category) override;
    ObjectPtr<ISearchDirIterator> archiveDirs(search_category_t category) override;
    char const* cacheDir() override { return m_cacheDir.c_str(); }
    CallbackHolder<ISearchStartedCallback>* searchStartedCallback() override {
        return &m_searchStartedCallback;
    }
    CallbackHolder<IFilesFoundCallback>* filesFoundCallback() override {
        return &m_filesFoundCallback;
    }
    CallbackHolder<INoFilesFoundCallback>* noFilesFoundCallback() override {
        return &m_noFilesFoundCallback;
    }
    CallbackHolder<IConfidenceLevelPolicyCallback>* confidenceLevelPolicyCallback() override {
        return &m_confidenceLevelPolicyCallback;
    }
    ObjectPtr<IEnvironmentInfo> environmentInfo() override { return m_environmentInfo; }
    IFileRetriever* fileRetriever() override { return m_fileRetriever; }
    ObjectPtr<ISearchStepsConfigurator> searchStepsConfigurator() const override {
        return m_searchStepsConfigurator;
    }
    herald2::IMessenger* messenger() override { return m_messenger; }

    void setSearchDirs(ObjectPtr<ISearchDirContainer> const& dirs) override;
    void setArchiveDirs(ObjectPtr<ISearchDirContainer> const& dirs) override;
    void setCacheDir(char const* dir) override;
    void setSearchStartedCallback(CallbackHolder<ISearchStartedCallback> const& callback) override;
    void setFilesFoundCallback(CallbackHolder<IFilesFoundCallback> const& callback) override;
    void setNoFilesFoundCallback(CallbackHolder<INoFilesFoundCallback> const& callback) override;
    void setConfidenceLevelPolicyCallback(
        CallbackHolder<IConfidenceLevelPolicyCallback> const& callback) override;
    void setEnvironmentInfo(ObjectPtr<IEnvironmentInfo> const& info) override;
    void setFileRetriever(IFileRetriever* const& retriever) override;
    void
    setSearchStepsConfigurator(ObjectPtr<ISearchStepsConfigurator> const& configurator) override;
    void setMessenger(herald2::IMessenger* messenger) override;

private:
    ObjectPtr<ISearchDirContainer> m_searchDirs;
    ObjectPtr<ISearchDirContainer> m_archiveDirs;
    std::string m_cacheDir;
    CallbackHolder<ISearchStartedCallback> m_searchStartedCallback;
    CallbackHolder<IFilesFoundCallback> m_filesFoundCallback;
    CallbackHolder<INoFilesFoundCallback> m_noFilesFoundCallback;
    CallbackHolder<IConfidenceLevelPolicyCallback> m_confidenceLevelPolicyCallback;
    ObjectPtr<IEnvironmentInfo> m_environmentInfo;
    IFileRetriever* m_fileRetriever = nullptr;
    ObjectPtr<ISearchStepsConfigurator> m_searchStepsConfigurator;
    herald2::IMessenger* m_messenger = nullptr;
};

class EditableEnvironmentInfo : public RefCountImpl<IEditableEnvironmentInfo> {
public:
    operating_system_type_t osType() const override { return m_osType; }
    architecture_t architecture() const override { return m_architecture; }
    char const* kernelRelease() const override { return m_kernelRelease.c_str(); }
    void setOsType(operating_system_type_t osType) override { m_osType = osType; }
    void setArchitecture(architecture_t architecture) override { m_architecture = architecture; }
    void setKernelRelease(char const* kernelRelease) override;

private:
    operating_system_type_t m_osType = osUnknown;
    architecture_t m_architecture = arUnknown;
    std::string m_kernelRelease;
};

/// The search directories of one category as log text. Its blanks are uneven; log readers know it
/// so.
std::string dump(ObjectPtr<ISearchEnv> const& env, search_category_t category);

} // namespace LK_2_13
