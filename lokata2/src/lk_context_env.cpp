#include "lk_context.h"

#include "lk_log.h"

#include <lokata2/words.h>

namespace LK_2_13 {

namespace {

constexpr char c_anyClient[] = "";

/// Folds a context and its ancestors, nearest first, into one environment. Each single value is
/// taken from the first context that has one; there the client's own entry goes before that of any
/// client. Search and archive directories add up. No lock is held across the walk.
class SearchEnvAssembly {
public:
    SearchEnvAssembly(char const* clientId, ObjectPtr<IEnvironmentInfo> const& environmentInfo)
        : m_clientId(clientId), m_environmentInfo(environmentInfo) {}

    void add(IMetadata& metadata) {
        if (!m_captured)
            addSearchDirs(metadata);
        addArchiveDirs(metadata);
        // An anonymous caller gets directories only.
        if (m_clientId == nullptr)
            return;
        addCallbacks(metadata);
        addSingleValues(metadata);
    }

    ObjectPtr<ISearchEnv> finish() {
        m_env->setArchiveDirs(m_archives);
        m_env->setCacheDir(m_cacheDir.c_str());
        m_env->setSearchDirs(m_chain);
        m_env->setEnvironmentInfo(m_environmentInfo);
        m_env->setFileRetriever(m_retriever);
        m_env->setSearchStepsConfigurator(m_steps);
        m_env->setMessenger(m_messenger);
        return m_env;
    }

private:
    /// A capture stands in for the containers of its context and ends the adding. All keys of a
    /// context are taken, whatever the client.
    void addSearchDirs(IMetadata& metadata) {
        if (m_clientId != nullptr) {
            m_captured = metadata.getCapturedSearchDirs(m_clientId);
            m_chain->addItem(m_captured);
        }
        if (m_captured)
            return;
        ObjectPtr<ISearchDirKeyIterator> const iterator = metadata.searchDirsKeyIterator();
        char const* key = nullptr;
        ObjectPtr<ISearchDirContainer> container;
        while (iterator->getCurrentRecord(key, container)) {
            m_chain->addItem(container);
            iterator->next();
        }
    }

    void addArchiveDirs(IMetadata& metadata) {
        std::string const dir = metadata.getArchiveDir();
        if (dir.empty())
            return;
        for (auto const& [category, word] : c_archiveCategories) {
            std::string const part = utils::addSubPart(dir.c_str(), word.data());
            m_archives->addDirectory(category, part.c_str(), true, true);
        }
    }

    /// Entries for any client count for the no-files-found callback and the policy only. That is
    /// meant: these two are asked where a search knows no answer of its own, while the other two
    /// would change what every client's searches find.
    void addCallbacks(IMetadata& metadata) {
        lokata_callbacks_t const mine = metadata.getCallbacks(m_clientId);
        lokata_callbacks_t const shared = metadata.getCallbacks(c_anyClient);
        if (!m_env->searchStartedCallback()->hasCallback())
            m_env->setSearchStartedCallback(mine.searchStarted);
        if (!m_env->filesFoundCallback()->hasCallback())
            m_env->setFilesFoundCallback(mine.filesFound);
        if (!m_env->noFilesFoundCallback()->hasCallback())
            m_env->setNoFilesFoundCallback(mine.noFilesFound);
        if (!m_env->noFilesFoundCallback()->hasCallback())
            m_env->setNoFilesFoundCallback(shared.noFilesFound);
        if (!m_env->confidenceLevelPolicyCallback()->hasCallback()) {
            bool const own = mine.confidenceLevelPolicy.hasCallback();
            m_env->setConfidenceLevelPolicyCallback(own ? mine.confidenceLevelPolicy
                                                        : shared.confidenceLevelPolicy);
        }
    }

    template <class T, class TGet>
    void addValue(T& value, TGet get) {
        if (!value)
            value = get(m_clientId);
        if (!value)
            value = get(c_anyClient);
    }

    void addSingleValues(IMetadata& metadata) {
        addValue(
            m_retriever, [&](char const* key) { return metadata.getFileRetriever(key); });
        addValue(
            m_steps, [&](char const* key) { return metadata.getSearchStepsConfigurator(key); });
        addValue(
            m_messenger, [&](char const* key) { return metadata.getMessenger(key); });
        addValue(m_environmentInfo,
                 [&](char const* key) { return metadata.getEnvironmentInfo(key); });
        if (m_cacheDir.empty())
            m_cacheDir = metadata.getCacheDir();
    }

    char const* m_clientId;
    ObjectPtr<IEditableSearchEnv> m_env = IEditableSearchEnv::create();
    ObjectPtr<ISearchDirChain> m_chain = ISearchDirChain::create();
    ObjectPtr<IEditableSearchDirContainer> m_archives = IEditableSearchDirContainer::create();
    ObjectPtr<ICapturedSearchDirs> m_captured;
    std::string m_cacheDir;
    IFileRetriever* m_retriever = nullptr;
    herald2::IMessenger* m_messenger = nullptr;
    ObjectPtr<ISearchStepsConfigurator> m_steps;
    ObjectPtr<IEnvironmentInfo> m_environmentInfo;
};

} // namespace

char const* archiveWord(search_category_t category) {
    std::string_view const word = wordOf(c_archiveCategories, category);
    return (word.empty() ? wordOf(c_archiveCategories, scAllFiles) : word).data();
}

ObjectPtr<ISearchEnv>
ResolutionContextMgr::createSearchEnv(IResolutionContext& context, char const* clientId,
                                      ObjectPtr<IEnvironmentInfo> const& environmentInfo) {
    LK_TRACE();
    LK_LOG_INFO("Context: " << idOf(context)
                            << " ClientId: " << (clientId != nullptr ? clientId : "NULL"));
    SearchEnvAssembly assembly(clientId, environmentInfo);
    // The walk holds a context of its own: the client's object may have a count of 0.
    ObjectPtr<IResolutionContext> current(new BasicResolutionContext(context));
    while (current) {
        assembly.add(*getMetadataForContext(*current));
        current = getParentContext(*current);
    }
    return assembly.finish();
}

ObjectPtr<IFileSearch>
ResolutionContextMgr::createFileSearch(IResolutionContext& context, char const* clientId,
                                       ObjectPtr<IEnvironmentInfo> const& environmentInfo) {
    return IFileSearch::create(createSearchEnv(context, clientId, environmentInfo));
}

} // namespace LK_2_13
