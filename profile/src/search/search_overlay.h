#pragma once

#include "search/directory_index.h"
#include "search/file_places.h"

#include <lokata2/search_env.h>

#include <string>
#include <vector>

namespace lokata::profile {

/// What the callbacks of one search are told and what they saw. Belongs to one thread.
struct CallbackRecord {
    std::vector<Candidate> suggestions;
    /// False for a search that ends with its suggestions.
    bool run_steps = true;
    /// As the running search spells it; empty before the first search.
    std::string name;
    LK_2_13::ObjectPtr<LK_2_13::IValidFile> chosen;
    std::vector<LK_2_13::ObjectPtr<LK_2_13::IInvalidFile>> rejected;
    /// Those that ran, in order.
    std::vector<LK_2_13::search_step_t> steps;
};

/// Notes the steps that searches come to. The record must outlive it and its iterators.
class RecordingSteps final : public LK_2_13::RefCountImpl<LK_2_13::ISearchStepsConfigurator> {
public:
    RecordingSteps(LK_2_13::ObjectPtr<LK_2_13::ISearchStepsConfigurator> const& inner,
                   CallbackRecord& record)
        : m_pInner(inner), m_record(record) {}

    LK_2_13::ObjectPtr<LK_2_13::ISearchStepsIterator>
    getSearchStepsIterator(LK_2_13::search_category_t category,
                           unsigned long long stepsSelector) override;
    void setStep(LK_2_13::search_step_t step, LK_2_13::search_category_t category,
                 bool enable) override {
        m_pInner->setStep(step, category, enable);
    }

private:
    LK_2_13::ObjectPtr<LK_2_13::ISearchStepsConfigurator> m_pInner;
    CallbackRecord& m_record;
};

/// Adds the suggestions of the record behind those of the environment's own callback.
class SuggestingCallback final : public LK_2_13::SearchStartedCallback {
public:
    SuggestingCallback(LK_2_13::ISearchEnv* environment, CallbackRecord& record)
        : m_pEnvironment(environment), m_record(record) {}
    ~SuggestingCallback() override { disconnectHandlers(); }

private:
    bool searchStarted(LK_2_13::RequestedFile const& file,
                       LK_2_13::IStringContainer& suggestions) override;

    LK_2_13::ISearchEnv* m_pEnvironment;
    CallbackRecord& m_record;
};

/// Remembers the file that the environment's own callback chooses, else the first, and gives null:
/// so the search goes on to its last callback, the only one that sees what was rejected.
class RememberingCallback final : public LK_2_13::FilesFoundCallback {
public:
    RememberingCallback(LK_2_13::ISearchEnv* environment, CallbackRecord& record)
        : m_pEnvironment(environment), m_record(record) {}
    ~RememberingCallback() override { disconnectHandlers(); }

private:
    LK_2_13::ObjectPtr<LK_2_13::IValidFile> filesFound(LK_2_13::RequestedFile const& file,
                                                       LK_2_13::IValidFileIterator& files) override;

    LK_2_13::ISearchEnv* m_pEnvironment;
    CallbackRecord& m_record;
};

/// Takes down the rejected files and gives back the file that was chosen, if there is one.
class RecordingCallback final : public LK_2_13::NoFilesFoundCallback {
public:
    RecordingCallback(LK_2_13::ISearchEnv* environment, CallbackRecord& record)
        : m_pEnvironment(environment), m_record(record) {}
    ~RecordingCallback() override { disconnectHandlers(); }

private:
    LK_2_13::ObjectPtr<LK_2_13::IValidFile>
    noFilesFound(LK_2_13::RequestedFile const& file, LK_2_13::IValidator& validator,
                 LK_2_13::IInvalidFileIterator& invalidFiles,
                 LK_2_13::IValidFileIterator& validFiles) override;

    LK_2_13::ISearchEnv* m_pEnvironment;
    CallbackRecord& m_record;
};

/// The client's environment with our callbacks in front of its own, and with search directories
/// that the index has thinned out for the name of the running search.
class OverlaidEnvironment final : public LK_2_13::RefCountImpl<LK_2_13::ISearchEnv> {
public:
    /// Either may be null.
    OverlaidEnvironment(LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> const& inner, DirectoryIndex* index,
                        std::string const& kernelRelease);

    LK_2_13::ObjectPtr<LK_2_13::ISearchDirIterator>
    searchDirs(LK_2_13::search_category_t category) override;
    LK_2_13::ObjectPtr<LK_2_13::ISearchDirIterator>
    archiveDirs(LK_2_13::search_category_t category) override {
        return m_pInner ? m_pInner->archiveDirs(category) : nullptr;
    }
    /// Whether the client names any place for files of that kind.
    bool hasDirectories(LK_2_13::search_category_t category);
    char const* cacheDir() override { return m_pInner ? m_pInner->cacheDir() : ""; }
    LK_2_13::CallbackHolder<LK_2_13::ISearchStartedCallback>* searchStartedCallback() override {
        return &m_startedHolder;
    }
    LK_2_13::CallbackHolder<LK_2_13::IFilesFoundCallback>* filesFoundCallback() override {
        return &m_foundHolder;
    }
    LK_2_13::CallbackHolder<LK_2_13::INoFilesFoundCallback>* noFilesFoundCallback() override {
        return &m_notFoundHolder;
    }
    LK_2_13::CallbackHolder<LK_2_13::IConfidenceLevelPolicyCallback>*
    confidenceLevelPolicyCallback() override {
        return m_pInner ? m_pInner->confidenceLevelPolicyCallback() : &m_noPolicy;
    }
    LK_2_13::ObjectPtr<LK_2_13::IEnvironmentInfo> environmentInfo() override { return m_pInfo; }
    LK_2_13::IFileRetriever* fileRetriever() override {
        return m_pInner ? m_pInner->fileRetriever() : nullptr;
    }
    LK_2_13::ObjectPtr<LK_2_13::ISearchStepsConfigurator> searchStepsConfigurator() const override {
        return m_pSteps;
    }
    herald2::IMessenger* messenger() override { return m_pInner ? m_pInner->messenger() : nullptr; }

    CallbackRecord record;

private:
    LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> m_pInner;
    DirectoryIndex* m_pIndex;
    LK_2_13::ObjectPtr<LK_2_13::ISearchStepsConfigurator> m_pSteps;
    LK_2_13::ObjectPtr<LK_2_13::IEnvironmentInfo> m_pInfo;
    SuggestingCallback m_started;
    RememberingCallback m_found;
    RecordingCallback m_notFound;
    LK_2_13::CallbackHolder<LK_2_13::ISearchStartedCallback> m_startedHolder;
    LK_2_13::CallbackHolder<LK_2_13::IFilesFoundCallback> m_foundHolder;
    LK_2_13::CallbackHolder<LK_2_13::INoFilesFoundCallback> m_notFoundHolder;
    LK_2_13::CallbackHolder<LK_2_13::IConfidenceLevelPolicyCallback> m_noPolicy;
};

/// The kernel release that an environment tells; empty for a null environment or an unknown one.
std::string kernelReleaseOf(LK_2_13::ISearchEnv* environment);

} // namespace lokata::profile
