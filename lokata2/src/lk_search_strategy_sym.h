#pragma once

#include "lk_search_strategy.h"

#include <lokata2/file_search.h>

namespace LK_2_13 {

/// Searches the symbol file of a binary, also next to the binary and in the debug trees.
class SymFileSearchStrategy final : public BasicFileSearchStrategy {
public:
    /// `binaryFile` is a canonical name, `checksum` that of the binary as the caller gave it; null
    /// counts as empty. The validator must outlive the strategy; the progress callback is only
    /// kept.
    SymFileSearchStrategy(ISearchEnv* env, char const* fileName, char const* binaryFile,
                          char const* checksum, IValidator& validator,
                          ISymSrvDownloadProgressCallback* downloadCallback);

    bool callSearchStarted(ISearchStartedCallback& callback,
                           IStringContainer& suggestions) override;
    /// Offers the symbol file's name in the directory of the binary, the binary's name with the
    /// extension of the symbol file there, and the symbol file's name in `.debug` there. Nothing
    /// without a binary.
    bool lookUpAroundBinary(ISearchResultsContainer& results) override;
    ObjectPtr<IValidFile> callFilesFound(IFilesFoundCallback& callback,
                                         IValidFileIterator& validFiles) override;
    ObjectPtr<IValidFile> callNoFilesFound(INoFilesFoundCallback& callback,
                                           IInvalidFileIterator& invalidFiles,
                                           IValidFileIterator& validFiles) override;
    bool find(std::string const& directory, bool recursive, std::string const& fileName,
              ISearchResultsContainer& results, bool& skipDirectory) override;
    search_category_t getCategorySpecific() override;
    void fillSystemDirs(ISearchDirectoryContainer& container) override;

private:
    std::string m_binaryFile;
    std::string m_checksum;
    IValidator& m_validator;
    /// Only kept; no operation calls it.
    [[maybe_unused]] ISymSrvDownloadProgressCallback* m_downloadCallback;
};

} // namespace LK_2_13
