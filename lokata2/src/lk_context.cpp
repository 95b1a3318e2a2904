#include "lk_context.h"

#include "lk_log.h"
#include "lk_path.h"
#include "lk_text.h"

#include <memory>

namespace LK_2_13 {

namespace {

/// Marks a result directory that was set up before. The leading blank keeps it apart from the keys
/// of clients.
constexpr char c_hiddenResultDirKey[] = " hidden_result_dir_key";

char const* orNull(char const* text) {
    return text != nullptr ? text : "NULL";
}

} // namespace

LKLock g_resoulutionContextMgrLock;
ResolutionContextMgr* ResolutionContextMgr::s_instance = nullptr;

BasicResolutionContext::BasicResolutionContext(char const* id) : m_id(orEmpty(id)) {}

BasicResolutionContext::BasicResolutionContext(IResolutionContext const& other)
    : BasicResolutionContext(other.getUniqueID()) {}

ResolutionContextKey::ResolutionContextKey(IResolutionContext const* context)
    : m_text(context != nullptr ? idOf(*context) : "") {}

bool ResolutionContextKeyLess::operator()(ResolutionContextKey const& a,
                                          ResolutionContextKey const& b) const {
    return utils::compareCanonicalFileNames(a.text().c_str(), b.text().c_str()) < 0;
}

char const* idOf(IResolutionContext const& context) {
    return orEmpty(context.getUniqueID());
}

ObjectPtr<IResolutionContextMgr> IResolutionContextMgr::create() {
    LKLockWrap const guard(&g_resoulutionContextMgrLock);
    if (ResolutionContextMgr::s_instance == nullptr)
        ResolutionContextMgr::s_instance = new ResolutionContextMgr;
    return ResolutionContextMgr::s_instance;
}

ResolutionContextMgr::ResolutionContextMgr()
    : RefCountImpl<IResolutionContextMgr>(&g_resoulutionContextMgrLock) {}

ResolutionContextMgr::~ResolutionContextMgr() {
    forgetInstance();
}

/// The last reference is decided under the lock, so that `create` never hands out a dying manager;
/// what clients registered is destroyed after it, as their destructors may wait for a thread that
/// is in `create`.
int ResolutionContextMgr::release() {
    std::unique_ptr<ResolutionContextMgr> dying;
    LKLockWrap const guard(&g_resoulutionContextMgrLock);
    int const count = RefCountImpl<IResolutionContextMgr>::release();
    if (count == 0)
        dying.reset(this);
    return count;
}

void ResolutionContextMgr::onDelete() {
    forgetInstance();
}

void ResolutionContextMgr::forgetInstance() {
    LKLockWrap const guard(&g_resoulutionContextMgrLock);
    // Another manager may live by now.
    if (s_instance == this)
        s_instance = nullptr;
}

bool ResolutionContextMgr::addInheritance(IResolutionContext& child, IResolutionContext& parent) {
    LK_TRACE();
    LK_LOG_INFO("Child: " << idOf(child) << " Parent: " << idOf(parent));
    ResolutionContextKey const key(&child);
    ObjectPtr<IResolutionContext> const copy(new BasicResolutionContext(parent));
    LKLockWrap const guard(&m_lock);
    m_parents[key] = copy;
    return true;
}

ObjectPtr<IResolutionContext> ResolutionContextMgr::getParentContext(IResolutionContext& context) {
    ResolutionContextKey const key(&context);
    LKSpinSharedLockWrap const guard(&m_lock);
    auto const entry = m_parents.find(key);
    return entry == m_parents.end() ? ObjectPtr<IResolutionContext>() : entry->second;
}

ObjectPtr<IMetadata> ResolutionContextMgr::getMetadataForContext(IResolutionContext& context) {
    ResolutionContextKey const key(&context);
    {
        LKSpinSharedLockWrap const guard(&m_lock);
        auto const entry = m_metadata.find(key);
        if (entry != m_metadata.end())
            return entry->second;
    }
    return addEmptyMetadata(context);
}

ObjectPtr<IMetadata> ResolutionContextMgr::addEmptyMetadata(IResolutionContext& context) {
    ResolutionContextKey const key(&context);
    ObjectPtr<IMetadata> metadata(new Metadata);
    LKLockWrap const guard(&m_lock);
    m_metadata.emplace(key, metadata);
    return metadata;
}

ObjectPtr<ISearchDirContainer> ResolutionContextMgr::getSearchDirs(IResolutionContext& context,
                                                                   char const* key) {
    return getMetadataForContext(context)->getSearchDirs(key);
}

std::string ResolutionContextMgr::getArchiveDir(IResolutionContext& context) {
    return getMetadataForContext(context)->getArchiveDir();
}

void ResolutionContextMgr::registerSearchDirs(IResolutionContext& context,
                                              ObjectPtr<ISearchDirContainer> const& container,
                                              char const* key) {
    LK_TRACE();
    LK_LOG_INFO("Context: " << idOf(context) << " Key: " << orNull(key));
    getMetadataForContext(context)->setSearchDirs(container, key);
}

void ResolutionContextMgr::registerArchiveDir(IResolutionContext& context, char const* dir) {
    LK_TRACE();
    LK_LOG_INFO("Context: " << idOf(context) << " Dir: " << orNull(dir));
    getMetadataForContext(context)->setArchiveDir(dir);
}

void ResolutionContextMgr::registerCacheDir(IResolutionContext& context, char const* dir) {
    LK_TRACE();
    LK_LOG_INFO("Context: " << idOf(context) << " Dir: " << orNull(dir));
    getMetadataForContext(context)->setCacheDir(dir);
}

ObjectPtr<IResolutionContext> ResolutionContextMgr::createUserWideContext() {
    LK_TRACE();
    return new BasicResolutionContext(utils::getUserId().c_str());
}

ObjectPtr<IResolutionContext>
ResolutionContextMgr::createFileSystemContext(char const* dir, bool addTrailingSeparator) {
    LK_TRACE();
    if (dir == nullptr || *dir == '\0') {
        LK_LOG_INFO("No context created!");
        return nullptr;
    }
    std::string const canonical = utils::getCanonicalName(dir, addTrailingSeparator);
    LK_LOG_INFO("ContextId: " << dir);
    if (canonical.empty()) {
        LK_LOG_INFO("No context created!");
        return nullptr;
    }
    return new BasicResolutionContext(canonical.c_str());
}

ObjectPtr<IResolutionContext> ResolutionContextMgr::createResultDirectoryContext(char const* dir) {
    LK_TRACE();
    if (dir == nullptr)
        return nullptr;
    ObjectPtr<IResolutionContext> context = createFileSystemContext(dir, true);
    if (!context || getSearchDirs(*context, c_hiddenResultDirKey))
        return context;
    registerArchiveDir(*context, paths::join(dir, "archive").c_str());

    // Symbol files are looked for among the binaries too; a binary is never looked for among the
    // symbols.
    struct {
        search_category_t category;
        search_category_t part;
        bool recursive;
    } const layout[] = {
        {scBinaryFiles, scBinaryFiles, false}, {scSymbolFiles, scSymbolFiles, false},
        {scSymbolFiles, scBinaryFiles, false}, {scSourceFiles, scSourceFiles, true},
        {scAllFiles, scAllFiles, true},
    };
    ObjectPtr<IEditableSearchDirContainer> const container = IEditableSearchDirContainer::create();
    for (auto const& [category, part, recursive] : layout)
        container->addDirectory(category, paths::join(dir, archiveWord(part)).c_str(), recursive,
                                true);
    container->addDirectory(scAllFiles, dir, false, true);
    registerSearchDirs(*context, container, c_hiddenResultDirKey);
    return context;
}

} // namespace LK_2_13
