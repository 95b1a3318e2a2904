#include "search_session.h"

#include "enumerator_names.h"

using namespace LK_2_13;

namespace lokata::cli {
namespace {

constexpr char const* clientId = "lokata";

char const* orNull(std::string const& text) {
    return text.empty() ? nullptr : text.c_str();
}

} // namespace

SearchSession::Policy::Policy(std::string const& level)
    : m_level(level == "reject" ? clReject
              : level == "low"  ? clAcceptLow
                                : clAccept) {}

SearchSession::SearchSession(SearchOptions const& options, History history)
    : m_chain(options), m_policy(options.policy) {
    registerDirs(options);
    registerSteps(options);
    registerCallbacks(history);
    m_chain.manager().captureSearchDirs(*m_chain.nearest(), clientId);

    auto const info = IEditableEnvironmentInfo::create();
    info->setKernelRelease(options.kernelRelease.c_str());
    m_pSearch = m_chain.manager().createFileSearch(*m_chain.nearest(), clientId,
                                                   ObjectPtr<IEnvironmentInfo>(info));
}

void SearchSession::registerDirs(SearchOptions const& options) {
    auto const dirs = IEditableSearchDirContainer::create();
    for (std::string const& text : options.searchDirs) {
        SearchDirArgument const dir = parseSearchDir(text);
        dirs->addDirectory(dir.category, dir.directory.c_str(), dir.recursive, dir.priority);
    }
    m_chain.manager().registerSearchDirs(*m_chain.nearest(), dirs, "command line");
    m_chain.manager().registerCacheDir(*m_chain.nearest(), orNull(options.cacheDir));
}

// The library leaves the cache directory out unless it is asked for, and nobody names one on the
// command line for another reason.
void SearchSession::registerSteps(SearchOptions const& options) {
    constexpr auto allSteps = static_cast<search_step_t>(~0U);
    auto const steps = ISearchStepsConfigurator::create();
    for (search_category_t const category : {scBinaryFiles, scSymbolFiles, scSourceFiles}) {
        if (!options.steps.empty()) {
            steps->setStep(allSteps, category, false);
            steps->setStep(static_cast<search_step_t>(parseSteps(options.steps)), category, true);
        } else if (!options.cacheDir.empty()) {
            steps->setStep(ssCacheSearchDir, category, true);
        }
    }
    m_chain.manager().registerSearchStepsConfigurator(*m_chain.nearest(), clientId, steps);
}

// With a history every answer goes through the no-files-found callback, which takes the valid file:
// so it is there that the answer is remembered, found or not, and the default files-found callback
// is left without a history of its own.
void SearchSession::registerCallbacks(History history) {
    auto& manager = m_chain.manager();
    auto const& context = m_chain.nearest();
    manager.registerConfidenceLevelPolicyCallback(*context, clientId, &m_policy);
    if (history == History::off) {
        manager.registerFilesFoundCallback(*context, clientId, &m_recorder.filesFoundCallback());
        manager.registerNoFilesFoundCallback(*context, clientId,
                                             &m_recorder.noFilesFoundCallback());
        return;
    }
    m_pManipulator = createSearchManipulatorByContext(context, nullptr, nullptr);
    m_pManipulator->setSearchStartedBehavior(
        clientId, history == History::only ? ssbUseHistoryOnly : ssbSuggestFromHistory);
    m_pManipulator->setOwnFilesFoundCallback(clientId, &m_recorder.filesFoundCallback());
    m_pManipulator->setOwnNoFilesFoundCallback(clientId, &m_recorder.noFilesFoundCallback());
    m_pManipulator->setNoFilesFoundBehavior(clientId, nfbUpdateHistory);
}

SearchRecord SearchSession::find(SearchRequest const& request, IValidatorCallback* validator,
                                 bool all) {
    m_recorder.start(request, all);
    char const* const name = request.name.c_str();
    char const* const binary = orNull(request.binary);
    char const* const checksum = orNull(request.checksum);
    char const* const suggestion = orNull(request.suggestion);
    if (request.category == scBinaryFiles)
        m_pSearch->findBinFile(name, validator, suggestion, 0);
    else if (request.category == scSymbolFiles)
        m_pSearch->findSymFile(name, binary, checksum, validator, suggestion, nullptr);
    else
        m_pSearch->findSrcFile(name, binary, checksum, validator, suggestion);
    return m_recorder.take();
}

} // namespace lokata::cli
