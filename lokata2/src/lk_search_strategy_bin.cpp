#include "lk_search_strategy_bin.h"

#include "lk_path.h"
#include "lk_search_impl.h"
#include "lk_text.h"

#include <lokata2/utils.h>

#include <sys/utsname.h>

namespace LK_2_13 {

BinFileSearchStrategy::BinFileSearchStrategy(ISearchEnv* env, char const* fileName,
                                             IValidator& validator, char const* tempDir)
    : BasicFileSearchStrategy(env, fileName), m_validator(validator), m_tempDir(orEmpty(tempDir)) {}

bool BinFileSearchStrategy::callSearchStarted(ISearchStartedCallback& callback,
                                              IStringContainer& suggestions) {
    return callback.binFileSearchStarted(fileToSearch(), suggestions);
}

bool BinFileSearchStrategy::lookUpAbsoluteName(ISearchResultsContainer& results) {
    std::string name = fileToSearch();
    fixLinuxName(name);
    ISearchEnv* const env = getSearchEnv();
    IFileRetriever* const retriever = env != nullptr ? env->fileRetriever() : nullptr;
    if (retriever == nullptr || retriever->isLocalFile(name))
        return BasicFileSearchStrategy::lookUpAbsoluteName(results);

    char const* const cacheDir = cacheDirOrReport();
    if (cacheDir == nullptr || m_tempDir.empty())
        return false;
    // The copy is removed later: a recorded name with ".." must not lead to somebody else's file.
    std::string const local = paths::join(m_tempDir, name);
    if (paths::normal(local).rfind(paths::normal(paths::join(m_tempDir, "")), 0) != 0 ||
        retriever->retrieveFile(name.c_str(), m_tempDir.c_str()) != 0)
        return false;
    std::string archived;
    switch (utils::archiveFile(local.c_str(), cacheDir, nullptr, archived, true)) {
    case afOk:
    case afAlreadyArchived: // the fetched copy stays until the temporary directory goes
        return results.validateAndAdd(archived.c_str(), ssAbsoluteNameLookup);
    default:
        utils::removeFile(local.c_str());
        return false;
    }
}

/// "vmlinux" is searched as a module like any bare name; the image has its own searches by a name
/// with a directory.
bool BinFileSearchStrategy::findInSystemDirs(ISearchResultsContainer& results) {
    std::string const name = fileToSearch();
    bool const isModule = paths::stem(name) == name;
    return !isGuestName() && walkSystemDirs(isModule ? name + ".ko" : name, results);
}

ObjectPtr<IValidFile> BinFileSearchStrategy::callFilesFound(IFilesFoundCallback& callback,
                                                            IValidFileIterator& validFiles) {
    return callback.binFilesFound(fileToSearch(), validFiles);
}

ObjectPtr<IValidFile> BinFileSearchStrategy::callNoFilesFound(INoFilesFoundCallback& callback,
                                                              IInvalidFileIterator& invalidFiles,
                                                              IValidFileIterator& validFiles) {
    return callback.noBinFilesFound(fileToSearch(), m_validator, invalidFiles, validFiles);
}

search_category_t BinFileSearchStrategy::getCategorySpecific() {
    return scBinaryFiles;
}

/// The modules are those of the kernel that runs here, the debug tree is that of the kernel that
/// was profiled.
void BinFileSearchStrategy::fillSystemDirs(ISearchDirectoryContainer& container) {
    container.addSearchDirectory("/lib/modules", false);
    utsname machine{};
    if (::uname(&machine) == 0) {
        std::string const modules = std::string("/lib/modules/") + machine.release + "/kernel/";
        container.addSearchDirectory(modules.c_str(), true);
    }
    if (paths::fileName(fileToSearch()) != VMLINUX)
        return;
    container.addSearchDirectory("/boot", false);
    ObjectPtr<IEnvironmentInfo> info;
    if (getSearchEnv() != nullptr)
        info = getSearchEnv()->environmentInfo();
    std::string const release = info ? orEmpty(info->kernelRelease()) : "";
    if (!release.empty())
        container.addSearchDirectory(("/usr/lib/debug/lib/modules/" + release).c_str(), false);
}

} // namespace LK_2_13
