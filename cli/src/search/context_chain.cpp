#include "search/context_chain.h"

#include "search/user_store.h"

#include <lokata2/utils.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

/// A context that stands for no directory. Its id begins with a blank, which the id of a directory,
/// an absolute path, never does.
class NamelessContext : public RefCountImpl<IResolutionContext> {
public:
    explicit NamelessContext(std::string const& what) : m_id(" " + what) {}
    char const* getUniqueID() const override { return m_id.c_str(); }

private:
    std::string m_id;
};

std::string absolute(std::string const& directory) {
    return std::filesystem::absolute(directory).string();
}

} // namespace

ContextChain::ContextChain(SearchOptions const& options)
    : m_pManager(IResolutionContextMgr::create()) {
    // A context has one archive directory, so each further one needs a context of its own.
    for (std::string const& archive : options.archives) {
        warnOfMissingDirectory("--archive", archive);
        append(new NamelessContext("archive " + std::to_string(m_contexts.size())));
        m_pManager->registerArchiveDir(*m_contexts.back(), archive.c_str());
    }
    requireDirectory("--result", options.result_dir);
    if (!options.result_dir.empty())
        append(m_pManager->createResultDirectoryContext(absolute(options.result_dir).c_str()));
    for (std::string const& directory : options.contexts) {
        warnOfMissingDirectory("--context", directory);
        std::string const path = absolute(directory);
        auto const context = m_pManager->createFileSystemContext(path.c_str(), true);
        std::string const archive = utils::addSubPart(path.c_str(), "archive");
        if (utils::isDirectory(archive.c_str()))
            m_pManager->registerArchiveDir(*context, archive.c_str());
        append(context);
    }
    if (m_contexts.empty())
        append(new NamelessContext("command line"));
    if (!options.no_user)
        addUserDirs(options.store.empty() ? defaultStoreFileForSearch() : options.store);
}

void ContextChain::append(ObjectPtr<IResolutionContext> const& context) {
    std::string_view const id = context->getUniqueID();
    bool const isKnown = std::any_of(m_contexts.begin(), m_contexts.end(), [id](auto const& other) {
        return id == other->getUniqueID();
    });
    if (isKnown)
        return;
    if (!m_contexts.empty())
        m_pManager->addInheritance(*m_contexts.back(), *context);
    m_contexts.push_back(context);
}

void ContextChain::addUserDirs(std::string const& store) {
    if (store.empty())
        return;
    auto const context = m_pManager->createUserWideContext();
    m_pManager->registerSearchDirs(*context,
                                   IPersistentSearchDirContainer::create(openStore(store)), "user");
    append(context);
}

} // namespace lokata::cli
