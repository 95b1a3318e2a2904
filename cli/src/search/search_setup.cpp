#include "search/search_setup.h"

#include "search/enumerator_names.h"
#include "search/search_dir_argument.h"

namespace lokata::cli {

using namespace LK_2_13;

SearchSetup::SearchSetup(SearchOptions const& options)
    : m_chain(options), m_policy(options.policy) {
    requireDirectory("--cache", options.cache_dir);
    registerDirs(options);
    registerSteps(options);
    m_chain.manager().registerConfidenceLevelPolicyCallback(*m_chain.nearest(), c_clientId,
                                                            &m_policy);
    m_chain.manager().captureSearchDirs(*m_chain.nearest(), c_clientId);
}

ObjectPtr<ISearchEnv> SearchSetup::environment(std::string const& kernelRelease) const {
    auto const info = IEditableEnvironmentInfo::create();
    info->setKernelRelease(kernelRelease.c_str());
    return m_chain.manager().createSearchEnv(*m_chain.nearest(), c_clientId,
                                             ObjectPtr<IEnvironmentInfo>(info));
}

void SearchSetup::registerDirs(SearchOptions const& options) {
    auto const dirs = IEditableSearchDirContainer::create();
    for (std::string const& text : options.search_dirs) {
        SearchDirArgument const dir = parseSearchDir(text);
        warnOfMissingDirectory("--search-dir", dir.directory);
        dirs->addDirectory(dir.category, dir.directory.c_str(), dir.recursive, dir.priority);
    }
    m_chain.manager().registerSearchDirs(*m_chain.nearest(), dirs, "command line");
    m_chain.manager().registerCacheDir(
        *m_chain.nearest(), options.cache_dir.empty() ? nullptr : options.cache_dir.c_str());
}

/// The library leaves the cache directory out unless it is asked for, and nobody names one on the
/// command line for another reason.
void SearchSetup::registerSteps(SearchOptions const& options) {
    constexpr auto c_allSteps = static_cast<search_step_t>(~0U);
    auto const steps = ISearchStepsConfigurator::create();
    for (search_category_t const category : {scBinaryFiles, scSymbolFiles, scSourceFiles}) {
        if (!options.steps.empty()) {
            steps->setStep(c_allSteps, category, false);
            steps->setStep(static_cast<search_step_t>(parseSteps(options.steps)), category, true);
        } else if (!options.cache_dir.empty()) {
            steps->setStep(ssCacheSearchDir, category, true);
        }
    }
    m_chain.manager().registerSearchStepsConfigurator(*m_chain.nearest(), c_clientId, steps);
}

} // namespace lokata::cli
