#include "lk_search_strategy_src.h"

#include "lk_text.h"

#include <sys/utsname.h>

namespace LK_2_13 {

SrcFileSearchStrategy::SrcFileSearchStrategy(ISearchEnv* env, char const* fileName,
                                             char const* binaryFile, char const* checksum,
                                             IValidator& validator)
    : BasicFileSearchStrategy(env, fileName)
    , m_binaryFile(orEmpty(binaryFile))
    , m_checksum(orEmpty(checksum))
    , m_validator(validator) {}

bool SrcFileSearchStrategy::callSearchStarted(ISearchStartedCallback& callback,
                                              IStringContainer& suggestions) {
    return callback.srcFileSearchStarted(fileToSearch(), m_binaryFile.c_str(), m_checksum.c_str(),
                                         suggestions);
}

ObjectPtr<IValidFile> SrcFileSearchStrategy::callFilesFound(IFilesFoundCallback& callback,
                                                            IValidFileIterator& validFiles) {
    return callback.srcFilesFound(fileToSearch(), m_binaryFile.c_str(), m_checksum.c_str(),
                                  validFiles);
}

ObjectPtr<IValidFile> SrcFileSearchStrategy::callNoFilesFound(INoFilesFoundCallback& callback,
                                                              IInvalidFileIterator& invalidFiles,
                                                              IValidFileIterator& validFiles) {
    return callback.noSrcFilesFound(fileToSearch(), m_binaryFile.c_str(), m_checksum.c_str(),
                                    m_validator, invalidFiles, validFiles);
}

search_category_t SrcFileSearchStrategy::getCategorySpecific() {
    return scSourceFiles;
}

void SrcFileSearchStrategy::fillSystemDirs(ISearchDirectoryContainer& container) {
    container.addSearchDirectory("/usr/src", false);
    utsname machine{};
    if (::uname(&machine) == 0) {
        std::string const headers = std::string("/usr/src/linux-headers-") + machine.release;
        container.addSearchDirectory(headers.c_str(), false);
    }
}

} // namespace LK_2_13
