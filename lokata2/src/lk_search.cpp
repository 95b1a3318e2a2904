#include "lk_search.h"

#include "lk_log.h"
#include "lk_path.h"
#include "lk_search_impl.h"
#include "lk_search_strategy_bin.h"
#include "lk_search_strategy_src.h"
#include "lk_search_strategy_sym.h"
#include "lk_search_types.h"
#include "lk_search_validator.h"
#include "lk_searchenv.h"
#include "lk_text.h"

#include <lokata2/utils.h>

#include <boost/filesystem/operations.hpp>

#include <stdexcept>

namespace LK_2_13 {

namespace {

bool isNullOrEmpty(char const* text) {
    return text == nullptr || *text == '\0';
}

/// True if the search may run its steps.
bool startSearch(ISearchEnv* env, IFileSearchStrategy& strategy, StringContainer& suggestions) {
    if (env == nullptr || !env->searchStartedCallback()->hasCallback())
        return true;
    CallbackAccessor<ISearchStartedCallback> const accessor(*env->searchStartedCallback());
    ISearchStartedCallback* const callback = accessor.get();
    return callback == nullptr || strategy.callSearchStarted(*callback, suggestions);
}

/// The result of a search that found a first file; null if the callback has rejected all.
ObjectPtr<IValidFile> chooseFile(ISearchEnv* env, IFileSearchStrategy& strategy,
                                 FoundFilesLazyIterator& files,
                                 ObjectPtr<IValidFile> const& first) {
    if (env == nullptr || !env->filesFoundCallback()->hasCallback()) {
        LK_LOG_INFO("Returning the first found, no filesFoundCallback established");
        return first;
    }
    CallbackAccessor<IFilesFoundCallback> const accessor(*env->filesFoundCallback());
    IFilesFoundCallback* const callback = accessor.get();
    if (callback == nullptr) {
        LK_LOG_INFO("Returning the first found, no pFilesFoundCallback established");
        return first;
    }
    files.reset();
    ObjectPtr<IValidFile> result = strategy.callFilesFound(*callback, files);
    if (result)
        LK_LOG_INFO("Returning the result = " << result->name() << " after pFilesFoundCallback");
    return result;
}

ObjectPtr<IValidFile> resolveNothingFound(ISearchEnv* env, IFileSearchStrategy& strategy,
                                          FoundFilesLazyIterator& files) {
    if (env == nullptr || !env->noFilesFoundCallback()->hasCallback()) {
        LK_LOG_INFO("Returning the NULL result, no noFilesFoundCallback established");
        return {};
    }
    CallbackAccessor<INoFilesFoundCallback> const accessor(*env->noFilesFoundCallback());
    INoFilesFoundCallback* const callback = accessor.get();
    if (callback == nullptr) {
        LK_LOG_INFO("Nothing found, returning");
        return {};
    }
    auto* const invalid = files.currentlyFoundInvalid();
    auto* const valid = files.currentlyFoundValid();
    invalid->reset();
    valid->reset();
    ObjectPtr<IValidFile> result = strategy.callNoFilesFound(*callback, *invalid, *valid);
    if (result)
        LK_LOG_INFO("Returning the result = " << result->name() << " after pNoFilesFoundCallback");
    else
        LK_LOG_INFO("Nothing found after pNoFilesFoundCallback");
    return result;
}

} // namespace

confidence_level_t ConfidenceLevelPolicyWrapper::getConfidenceLevel(search_category_t category,
                                                                    unsigned int step) {
    if (!m_pSearchEnv || !m_pSearchEnv->confidenceLevelPolicyCallback()->hasCallback())
        return clAccept;
    CallbackAccessor<IConfidenceLevelPolicyCallback> const accessor(
        *m_pSearchEnv->confidenceLevelPolicyCallback());
    IConfidenceLevelPolicyCallback* const callback = accessor.get();
    return callback == nullptr ? clAccept : callback->getConfidenceLevel(category, step);
}

ObjectPtr<IFileSearch> IFileSearch::create(ObjectPtr<ISearchEnv> const& searchEnv) {
    return new FileSearch(searchEnv);
}

FileSearch::FileSearch(ObjectPtr<ISearchEnv> const& searchEnv)
    : m_pSearchEnv(searchEnv), m_confidencePolicy(searchEnv) {
    LK_TRACE();
    LK_LOG_INFO("Search environment: m_pSearchEnv(scBinaryFiles) = "
                << dump(m_pSearchEnv, scBinaryFiles)
                << ", m_pSearchEnv(scSymbolFiles) = " << dump(m_pSearchEnv, scSymbolFiles)
                << ", m_pSearchEnv(scSourceFiles) = " << dump(m_pSearchEnv, scSourceFiles)
                << ", m_pSearchEnv(scAllFiles) = " << dump(m_pSearchEnv, scAllFiles));
    if (m_pSearchEnv && m_pSearchEnv->fileRetriever() != nullptr)
        utils::createUniqueTempDir(m_tempDir);
}

/// A directory that cannot be removed stays behind: a destructor has nobody to tell.
FileSearch::~FileSearch() {
    if (m_tempDir.empty())
        return;
    try {
        boost::filesystem::remove_all(m_tempDir);
    } catch (...) { // NOLINT(bugprone-empty-catch)
    }
}

ObjectPtr<IValidFile> FileSearch::findBinFile(char const* fileName,
                                              IValidatorCallback* validatorCallback,
                                              char const* suggestedResolution,
                                              unsigned long long stepsSelector) {
    if (fileName == nullptr)
        throw std::logic_error("IFileSearch::findBinFile: the file name is null");
    LK_TRACE();
    ObjectPtr<IValidFile> result =
        internalFindBinFile(fileName, validatorCallback, suggestedResolution, stepsSelector);
    if (result || !m_pSearchEnv)
        return result;

    ObjectPtr<IEnvironmentInfo> const info = m_pSearchEnv->environmentInfo();
    if (!info || paths::fileName(fileName) != VMLINUX || isNullOrEmpty(info->kernelRelease()))
        return {};
    std::string const release = info->kernelRelease();
    for (char const* const image : {"/boot/vmlinux-", "/boot/vmlinuz-"}) {
        result = internalFindBinFile((image + release).c_str(), validatorCallback,
                                     suggestedResolution, stepsSelector);
        if (result)
            break;
    }
    return result;
}

ObjectPtr<IValidFile> FileSearch::internalFindBinFile(char const* fileName,
                                                      IValidatorCallback* validatorCallback,
                                                      char const* suggestedResolution,
                                                      unsigned long long stepsSelector) {
    LK_LOG_INFO("Searching bin file:" << fileName);
    IFileRetriever* const retriever = m_pSearchEnv ? m_pSearchEnv->fileRetriever() : nullptr;
    Validator validator(validatorCallback, &m_confidencePolicy, scBinaryFiles, retriever, fileName);
    BinFileSearchStrategy strategy(m_pSearchEnv.get(),
                                   utils::getCanonicalName(fileName, false).c_str(), validator,
                                   m_tempDir.c_str());
    return findFile(strategy, validator, suggestedResolution, stepsSelector);
}

ObjectPtr<IValidFile> FileSearch::findSymFile(char const* fileName, char const* binaryFile,
                                              char const* checksum,
                                              IValidatorCallback* validatorCallback,
                                              char const* suggestedResolution,
                                              ISymSrvDownloadProgressCallback* progressCallback) {
    LK_TRACE();
    if (isNullOrEmpty(fileName))
        return {};
    Validator validator(validatorCallback, &m_confidencePolicy, scSymbolFiles, nullptr, "");
    std::string const file = utils::getCanonicalName(fileName, false);
    std::string const binary = utils::getCanonicalName(binaryFile, false);
    SymFileSearchStrategy strategy(m_pSearchEnv.get(), file.c_str(), binary.c_str(), checksum,
                                   validator, progressCallback);
    LK_LOG_INFO("Searching sym file:" << file << ", binary file:" << binary
                                      << ", checksum:" << orEmpty(checksum));
    return findFile(strategy, validator, suggestedResolution, 0);
}

ObjectPtr<IValidFile> FileSearch::findSrcFile(char const* fileName, char const* binaryFile,
                                              char const* checksum,
                                              IValidatorCallback* validatorCallback,
                                              char const* suggestedResolution) {
    LK_TRACE();
    if (isNullOrEmpty(fileName))
        return {};
    Validator validator(validatorCallback, &m_confidencePolicy, scSourceFiles, nullptr, "");
    std::string const file = utils::getCanonicalName(fileName, false);
    std::string const binary = utils::getCanonicalName(binaryFile, false);
    SrcFileSearchStrategy strategy(m_pSearchEnv.get(), file.c_str(), binary.c_str(), checksum,
                                   validator);
    LK_LOG_INFO("Searching src file:" << file << ", binary file:" << binary
                                      << ", checksum:" << orEmpty(checksum));
    return findFile(strategy, validator, suggestedResolution, 0);
}

ObjectPtr<IValidFile> FileSearch::findFile(IFileSearchStrategy& strategy,
                                           IValidatorInternal& validator,
                                           char const* suggestedResolution,
                                           unsigned long long stepsSelector) {
    LK_TRACE();
    ISearchEnv* const env = m_pSearchEnv.get();
    StringContainer suggestions;
    suggestions.add(suggestedResolution);
    bool const runSteps = startSearch(env, strategy, suggestions);
    LK_LOG_INFO(
        "Suggested resolutions after callback: suggestedResolutions: " << dump(suggestions));

    FoundFilesLazyIterator files(strategy, validator, stepsSelector);
    for (std::string const& suggestion : suggestions.list())
        files.processSuggestedResolution(suggestion.c_str());

    if (runSteps) {
        if (ObjectPtr<IValidFile> const first = files.next()) {
            ObjectPtr<IValidFile> chosen = chooseFile(env, strategy, files, first);
            if (chosen)
                return chosen;
        }
    }
    return resolveNothingFound(env, strategy, files);
}

} // namespace LK_2_13
