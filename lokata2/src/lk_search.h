#pragma once

#include "lk_search_contracts.h"

#include <lokata2/file_search.h>

#include <string>

namespace LK_2_13 {

/// Asks the policy callback of an environment for a validator. Answers `clAccept` without
/// an environment and without a policy.
class ConfidenceLevelPolicyWrapper final : public IConfidenceLevelPolicyCallback {
public:
    explicit ConfidenceLevelPolicyWrapper(ObjectPtr<ISearchEnv> const& searchEnv)
        : m_pSearchEnv(searchEnv) {}

    confidence_level_t getConfidenceLevel(search_category_t category, unsigned int step) override;

private:
    ObjectPtr<ISearchEnv> m_pSearchEnv;
};

/// Carries a search from its start to its result. All that a search changes lies on the stack of
/// its thread; the members are only read after construction.
class FileSearch : public RefCountImpl<IFileSearch> {
public:
    explicit FileSearch(ObjectPtr<ISearchEnv> const& searchEnv);
    ~FileSearch() override;

    ObjectPtr<IValidFile> findBinFile(char const* fileName, IValidatorCallback* validatorCallback,
                                      char const* suggestedResolution,
                                      unsigned long long stepsSelector) override;
    ObjectPtr<IValidFile> findSymFile(char const* fileName, char const* binaryFile,
                                      char const* checksum, IValidatorCallback* validatorCallback,
                                      char const* suggestedResolution,
                                      ISymSrvDownloadProgressCallback* progressCallback) override;
    ObjectPtr<IValidFile> findSrcFile(char const* fileName, char const* binaryFile,
                                      char const* checksum, IValidatorCallback* validatorCallback,
                                      char const* suggestedResolution) override;

    /// The sequence of every search: suggestions, steps until a file is at hand, the files-found
    /// callback, the no-files-found callback. Each callback is kept from going away while it runs,
    /// that of the found files also across the steps that it makes run.
    ObjectPtr<IValidFile> findFile(IFileSearchStrategy& strategy, IValidatorInternal& validator,
                                   char const* suggestedResolution,
                                   unsigned long long stepsSelector);

private:
    ObjectPtr<IValidFile> internalFindBinFile(char const* fileName,
                                              IValidatorCallback* validatorCallback,
                                              char const* suggestedResolution,
                                              unsigned long long stepsSelector);

    /// May be null.
    ObjectPtr<ISearchEnv> m_pSearchEnv;
    ConfidenceLevelPolicyWrapper m_confidencePolicy;
    /// Private to this object, for what a file retriever fetches. Empty if the environment had no
    /// retriever at construction, or if no directory could be made.
    std::string m_tempDir;
};

} // namespace LK_2_13
