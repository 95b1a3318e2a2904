#include "lk_context.h"

#include "lk_log.h"
#include "lk_text.h"

namespace LK_2_13 {

/// The callback operations refuse a null client id by their result, the other four raise. Clients
/// rely on both.

bool ResolutionContextMgr::registerSearchStartedCallback(IResolutionContext& context,
                                                         char const* clientId,
                                                         ISearchStartedCallback* callback) {
    if (clientId == nullptr)
        return false;
    getMetadataForContext(context)->registerSearchStartedCallback(clientId, callback);
    return true;
}

bool ResolutionContextMgr::registerFilesFoundCallback(IResolutionContext& context,
                                                      char const* clientId,
                                                      IFilesFoundCallback* callback) {
    if (clientId == nullptr)
        return false;
    getMetadataForContext(context)->registerFilesFoundCallback(clientId, callback);
    return true;
}

bool ResolutionContextMgr::registerNoFilesFoundCallback(IResolutionContext& context,
                                                        char const* clientId,
                                                        INoFilesFoundCallback* callback) {
    if (clientId == nullptr)
        return false;
    getMetadataForContext(context)->registerNoFilesFoundCallback(clientId, callback);
    return true;
}

bool ResolutionContextMgr::registerConfidenceLevelPolicyCallback(
    IResolutionContext& context, char const* clientId, IConfidenceLevelPolicyCallback* callback) {
    if (clientId == nullptr)
        return false;
    getMetadataForContext(context)->registerConfidenceLevelPolicyCallback(clientId, callback);
    return true;
}

bool ResolutionContextMgr::registerFileRetriever(IResolutionContext& context, char const* clientId,
                                                 IFileRetriever* retriever) {
    getMetadataForContext(context)->registerFileRetriever(requiredText(clientId), retriever);
    return true;
}

bool ResolutionContextMgr::registerSearchStepsConfigurator(
    IResolutionContext& context, char const* clientId,
    ObjectPtr<ISearchStepsConfigurator> configurator) {
    getMetadataForContext(context)->registerSearchStepsConfigurator(clientId, configurator);
    return true;
}

bool ResolutionContextMgr::registerMessenger(IResolutionContext& context, char const* clientId,
                                             herald2::IMessenger* messenger) {
    getMetadataForContext(context)->registerMessenger(clientId, messenger);
    return true;
}

bool ResolutionContextMgr::registerEnvironmentInfo(IResolutionContext& context,
                                                   char const* clientId,
                                                   ObjectPtr<IEnvironmentInfo> info) {
    getMetadataForContext(context)->registerEnvironmentInfo(clientId, info);
    return true;
}

void ResolutionContextMgr::captureSearchDirs(IResolutionContext& context, char const* clientId) {
    requiredText(clientId);
    LK_TRACE();
    LK_LOG_INFO("Context: " << idOf(context) << " ClientId: " << clientId);
    ObjectPtr<IMetadata> const metadata = getMetadataForContext(context);
    // An earlier capture must not be found by the environment that follows.
    releaseSearchDirs(context, clientId);
    ObjectPtr<ISearchEnv> const env = createSearchEnv(context, clientId, nullptr);
    metadata->setCapturedSearchDirs(clientId, ICapturedSearchDirs::create(env));
}

void ResolutionContextMgr::releaseSearchDirs(IResolutionContext& context, char const* clientId) {
    requiredText(clientId);
    LK_TRACE();
    LK_LOG_INFO("Context: " << idOf(context) << " ClientId: " << clientId);
    getMetadataForContext(context)->setCapturedSearchDirs(clientId, nullptr);
}

archive_result_t ResolutionContextMgr::archiveFile(IResolutionContext& context, char const* file,
                                                   search_category_t category) {
    // The walk holds a context of its own: the client's object may have a count of 0.
    ObjectPtr<IResolutionContext> current(new BasicResolutionContext(context));
    std::string dir;
    while (current && (dir = getArchiveDir(*current)).empty())
        current = getParentContext(*current);
    if (dir.empty())
        return afNoArchiveDir;
    if (file == nullptr)
        return afNoChecksum;
    std::string archivedName;
    return utils::archiveFile(file, dir.c_str(), archiveWord(category), archivedName, false);
}

} // namespace LK_2_13
