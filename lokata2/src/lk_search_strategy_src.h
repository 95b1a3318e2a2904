#pragma once

#include "lk_search_strategy.h"

namespace LK_2_13 {

/// Searches a source file of a binary.
class SrcFileSearchStrategy final : public BasicFileSearchStrategy {
public:
    /// `binaryFile` is a canonical name, `checksum` that of the binary as the caller gave it; null
    /// counts as empty. The validator must outlive the strategy.
    SrcFileSearchStrategy(ISearchEnv* env, char const* fileName, char const* binaryFile,
                          char const* checksum, IValidator& validator);

    bool callSearchStarted(ISearchStartedCallback& callback,
                           IStringContainer& suggestions) override;
    ObjectPtr<IValidFile> callFilesFound(IFilesFoundCallback& callback,
                                         IValidFileIterator& validFiles) override;
    ObjectPtr<IValidFile> callNoFilesFound(INoFilesFoundCallback& callback,
                                           IInvalidFileIterator& invalidFiles,
                                           IValidFileIterator& validFiles) override;
    search_category_t getCategorySpecific() override;
    /// The kernel sources and the headers of the kernel that runs here, both flat.
    void fillSystemDirs(ISearchDirectoryContainer& container) override;

private:
    std::string m_binaryFile;
    std::string m_checksum;
    IValidator& m_validator;
};

} // namespace LK_2_13
