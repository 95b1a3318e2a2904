#pragma once

#include "lk_search_strategy.h"

namespace LK_2_13 {

/// Searches a binary: an executable, a shared library, a kernel or a kernel module. A file of
/// another machine is fetched into the cache directory if the environment has a retriever for it. A
/// bare name without extension is a kernel module in the system directories.
class BinFileSearchStrategy final : public BasicFileSearchStrategy {
public:
    /// `tempDir` takes what a retriever fetches; empty or null if there is none. The validator must
    /// outlive the strategy.
    BinFileSearchStrategy(ISearchEnv* env, char const* fileName, IValidator& validator,
                          char const* tempDir);

    bool callSearchStarted(ISearchStartedCallback& callback,
                           IStringContainer& suggestions) override;
    /// With a retriever that does not call the name local, fetches it and offers the copy in the
    /// cache directory; the name is then not tried on this machine, even if that fails.
    bool lookUpAbsoluteName(ISearchResultsContainer& results) override;
    bool findInSystemDirs(ISearchResultsContainer& results) override;
    ObjectPtr<IValidFile> callFilesFound(IFilesFoundCallback& callback,
                                         IValidFileIterator& validFiles) override;
    ObjectPtr<IValidFile> callNoFilesFound(INoFilesFoundCallback& callback,
                                           IInvalidFileIterator& invalidFiles,
                                           IValidFileIterator& validFiles) override;
    search_category_t getCategorySpecific() override;
    /// The kernel's tree, no directory of libraries.
    void fillSystemDirs(ISearchDirectoryContainer& container) override;

private:
    IValidator& m_validator;
    std::string m_tempDir;
};

} // namespace LK_2_13
