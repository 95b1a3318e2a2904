#include "lk_search_strategy_sym.h"

#include "lk_path.h"
#include "lk_text.h"

#include <lokata2/utils.h>
#include <toolbelt2/text.h>

namespace LK_2_13 {

SymFileSearchStrategy::SymFileSearchStrategy(ISearchEnv* env, char const* fileName,
                                             char const* binaryFile, char const* checksum,
                                             IValidator& validator,
                                             ISymSrvDownloadProgressCallback* downloadCallback)
    : BasicFileSearchStrategy(env, fileName)
    , m_binaryFile(orEmpty(binaryFile))
    , m_checksum(orEmpty(checksum))
    , m_validator(validator)
    , m_downloadCallback(downloadCallback) {}

bool SymFileSearchStrategy::callSearchStarted(ISearchStartedCallback& callback,
                                              IStringContainer& suggestions) {
    return callback.symFileSearchStarted(fileToSearch(), m_binaryFile.c_str(), m_checksum.c_str(),
                                         suggestions);
}

bool SymFileSearchStrategy::lookUpAroundBinary(ISearchResultsContainer& results) {
    if (m_binaryFile.empty())
        return false;
    auto const offer = [&](std::string const& candidate) {
        return results.validateAndAdd(candidate.c_str(), ssAroundBinaryLookup);
    };
    std::string const dir(paths::parent(m_binaryFile));
    std::string const symName = utils::getFileNameOnly(fileToSearch());
    if (offer(paths::join(dir, symName)))
        return true;
    std::string const binaryBase = utils::getFileNameBase(m_binaryFile.c_str());
    if (binaryBase != utils::getFileNameBase(fileToSearch())) {
        std::string const extension(paths::extension(fileToSearch()));
        if (offer(paths::join(dir, binaryBase + extension)))
            return true;
    }
    return offer(paths::join(dir + "/.debug", symName));
}

ObjectPtr<IValidFile> SymFileSearchStrategy::callFilesFound(IFilesFoundCallback& callback,
                                                            IValidFileIterator& validFiles) {
    return callback.symFilesFound(fileToSearch(), m_binaryFile.c_str(), m_checksum.c_str(),
                                  validFiles);
}

ObjectPtr<IValidFile> SymFileSearchStrategy::callNoFilesFound(INoFilesFoundCallback& callback,
                                                              IInvalidFileIterator& invalidFiles,
                                                              IValidFileIterator& validFiles) {
    return callback.noSymFilesFound(fileToSearch(), m_binaryFile.c_str(), m_checksum.c_str(),
                                    m_validator, invalidFiles, validFiles);
}

bool SymFileSearchStrategy::find(std::string const&, bool, std::string const&,
                                 ISearchResultsContainer&, bool& skipDirectory) {
    skipDirectory = false;
    return false;
}

search_category_t SymFileSearchStrategy::getCategorySpecific() {
    return scSymbolFiles;
}

/// Both directories are flat: the walk over the directories of a name reaches what lies below them.
/// A name that begins with that of the binary has the binary's directory in it already.
void SymFileSearchStrategy::fillSystemDirs(ISearchDirectoryContainer& container) {
    container.addSearchDirectory("/usr/lib/debug", false);
    std::string_view const name = fileToSearch();
    if (toolbelt2::starts_with(name, m_binaryFile))
        return;
    std::string directory = "/usr/lib/debug/";
    directory += paths::parent(m_binaryFile);
    container.addSearchDirectory(directory.c_str(), false);
}

} // namespace LK_2_13
