#include "lk_searchenv.h"

#include <lokata2/search_dir_chain.h>

#include "lk_searchenv_dirs.h"
#include "lk_text.h"

#include <brace/debug.h>

#include <utility>
#include <vector>

namespace LK_2_13 {

namespace {

ObjectPtr<ISearchDirIterator> enumerateIn(ObjectPtr<ISearchDirContainer> const& container,
                                          search_category_t category) {
    return container ? container->enumerate(category) : nullptr;
}

/// The word of a category on the command line; null for an invalid one.
char const* commandLineWord(search_category_t category) {
    switch (category) {
    case scBinaryFiles:
        return "bin";
    case scSymbolFiles:
        return "sym";
    case scSourceFiles:
        return "src";
    case scAllFiles:
        return "all";
    }
    return nullptr;
}

} // namespace

ObjectPtr<IEditableSearchEnv> IEditableSearchEnv::create() {
    return new EditableSearchEnv;
}

ObjectPtr<ISearchDirIterator> EditableSearchEnv::searchDirs(search_category_t category) {
    return enumerateIn(m_searchDirs, category);
}

ObjectPtr<ISearchDirIterator> EditableSearchEnv::archiveDirs(search_category_t category) {
    return enumerateIn(m_archiveDirs, category);
}

void EditableSearchEnv::setSearchDirs(ObjectPtr<ISearchDirContainer> const& dirs) {
    m_searchDirs = dirs;
}

void EditableSearchEnv::setArchiveDirs(ObjectPtr<ISearchDirContainer> const& dirs) {
    m_archiveDirs = dirs;
}

void EditableSearchEnv::setCacheDir(char const* dir) {
    if (dir != nullptr)
        m_cacheDir = dir;
}

void EditableSearchEnv::setSearchStartedCallback(
    CallbackHolder<ISearchStartedCallback> const& callback) {
    m_searchStartedCallback = callback;
}

void EditableSearchEnv::setFilesFoundCallback(CallbackHolder<IFilesFoundCallback> const& callback) {
    m_filesFoundCallback = callback;
}

void EditableSearchEnv::setNoFilesFoundCallback(
    CallbackHolder<INoFilesFoundCallback> const& callback) {
    m_noFilesFoundCallback = callback;
}

void EditableSearchEnv::setConfidenceLevelPolicyCallback(
    CallbackHolder<IConfidenceLevelPolicyCallback> const& callback) {
    m_confidenceLevelPolicyCallback = callback;
}

void EditableSearchEnv::setEnvironmentInfo(ObjectPtr<IEnvironmentInfo> const& info) {
    m_environmentInfo = info;
}

void EditableSearchEnv::setFileRetriever(IFileRetriever* const& retriever) {
    m_fileRetriever = retriever;
}

void EditableSearchEnv::setSearchStepsConfigurator(
    ObjectPtr<ISearchStepsConfigurator> const& configurator) {
    m_searchStepsConfigurator = configurator;
}

void EditableSearchEnv::setMessenger(herald2::IMessenger* messenger) {
    m_messenger = messenger;
}

ObjectPtr<IEditableEnvironmentInfo> IEditableEnvironmentInfo::create() {
    return new EditableEnvironmentInfo;
}

void EditableEnvironmentInfo::setKernelRelease(char const* kernelRelease) {
    if (kernelRelease != nullptr)
        m_kernelRelease = kernelRelease;
}

std::string dump(ObjectPtr<ISearchEnv> const& env, search_category_t category) {
    std::string text = "[ISearchEnv: searchDirs = ";
    if (!env) {
        text += "NULL pointer";
    } else {
        forEachDirectory(
            env->searchDirs(category),
            [&](char const* name, bool recursive, bool priority) {
                text += orEmpty(name);
                text += recursive ? " (Recursive, " : " (";
                text += priority ? " HighPriority)" : " )";
                text += ", ";
            });
    }
    return text += "]";
}

toolbelt2::generic_iterator_t<std::string>
getSearchDirCommandLine(search_category_t category, ObjectPtr<ISearchDirIterator> const& iterator) {
    char const* const word = commandLineWord(category);
    if (word == nullptr)
        BRACE_2_18::debug::report("Invalid category", __FILE__, __func__);
    if (word == nullptr)
        return {};
    std::vector<std::string> result;
    forEachDirectory(iterator, [&](char const* name, bool recursive, bool priority) {
        std::string item = word;
        if (recursive || priority)
            item.append(":").append(recursive ? "r" : "").append(priority ? "p" : "");
        item.append("=").append(orEmpty(name));
        if (item.back() == '\\')
            item.pop_back();
        result.push_back(std::move(item));
    });
    return toolbelt2::generic_iterator_t<std::string>(std::move(result));
}

} // namespace LK_2_13
