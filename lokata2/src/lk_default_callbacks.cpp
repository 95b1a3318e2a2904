#include "lk_default_callbacks.h"

#include <tuple>

namespace LK_2_13 {

namespace {

/// The arguments of a request for a symbol or source file begin like those for a binary; what a
/// category calls is given by pointers to the operations.
template <auto CallUser, auto Lookup, class... TRequest>
class SearchStartedHandler final : public ISearchStartedHandler {
public:
    SearchStartedHandler(ObjectPtr<ISearchHistory> const& history, ISearchStartedCallback* callback,
                         TRequest... request)
        : m_pHistory(history), m_pUserCallback(callback), m_request(request...) {}

    bool callUserCallback(IStringContainer& suggestions) override {
        if (m_pUserCallback == nullptr)
            return true;
        return std::apply(
            [&](TRequest... request) {
                return (m_pUserCallback->*CallUser)(request..., suggestions);
            },
            m_request);
    }

    ObjectPtr<IFileAssociation> lookupHistory() override {
        return std::apply(
            [&](TRequest... request) { return (m_pHistory.get()->*Lookup)(request...); },
            m_request);
    }

private:
    ObjectPtr<ISearchHistory> m_pHistory;
    ISearchStartedCallback* m_pUserCallback;
    std::tuple<TRequest...> m_request;
};

template <auto CallUser, auto Update, class... TRequest>
class FilesFoundHandler final : public IFilesFoundHandler {
public:
    FilesFoundHandler(ObjectPtr<ISearchHistory> const& history, IFilesFoundCallback* callback,
                      TRequest... request)
        : m_pHistory(history), m_pUserCallback(callback), m_request(request...) {}

    ObjectPtr<IValidFile> callUserCallback(IValidFileIterator& files) override {
        if (m_pUserCallback == nullptr)
            return nullptr;
        return std::apply(
            [&](TRequest... request) { return (m_pUserCallback->*CallUser)(request..., files); },
            m_request);
    }

    void updateHistory(char const* resolvedName) override {
        std::apply(
            [&](TRequest... request) { (m_pHistory.get()->*Update)(request..., resolvedName); },
            m_request);
    }

private:
    ObjectPtr<ISearchHistory> m_pHistory;
    IFilesFoundCallback* m_pUserCallback;
    std::tuple<TRequest...> m_request;
};

template <auto CallUser, auto Update, class... TRequest>
class NoFilesFoundHandler final : public INoFilesFoundHandler {
public:
    NoFilesFoundHandler(ObjectPtr<ISearchHistory> const& history, INoFilesFoundCallback* callback,
                        IValidator& validator, IInvalidFileIterator& invalidFiles,
                        IValidFileIterator& validFiles, TRequest... request)
        : m_pHistory(history)
        , m_pUserCallback(callback)
        , m_request(request...)
        , m_validator(validator)
        , m_invalidFiles(invalidFiles)
        , m_validFiles(validFiles) {}

    ObjectPtr<IValidFile> callUserCallback() override {
        if (m_pUserCallback == nullptr)
            return nullptr;
        return std::apply(
            [&](TRequest... request) {
                return (m_pUserCallback->*CallUser)(request..., m_validator, m_invalidFiles,
                                                    m_validFiles);
            },
            m_request);
    }

    void updateHistory(char const* resolvedName) override {
        std::apply(
            [&](TRequest... request) { (m_pHistory.get()->*Update)(request..., resolvedName); },
            m_request);
    }

private:
    ObjectPtr<ISearchHistory> m_pHistory;
    INoFilesFoundCallback* m_pUserCallback;
    std::tuple<TRequest...> m_request;
    IValidator& m_validator;
    IInvalidFileIterator& m_invalidFiles;
    IValidFileIterator& m_validFiles;
};

using text_t = char const*;

using BinSearchStartedHandler =
    SearchStartedHandler<&ISearchStartedCallback::binFileSearchStarted,
                         &ISearchHistory::findBinFileAssociation, text_t>;
using SymSearchStartedHandler =
    SearchStartedHandler<&ISearchStartedCallback::symFileSearchStarted,
                         &ISearchHistory::findSymFileAssociation, text_t, text_t, text_t>;
using SrcSearchStartedHandler =
    SearchStartedHandler<&ISearchStartedCallback::srcFileSearchStarted,
                         &ISearchHistory::findSrcFileAssociation, text_t, text_t, text_t>;

using BinFilesFoundHandler = FilesFoundHandler<&IFilesFoundCallback::binFilesFound,
                                               &ISearchHistory::addBinFileAssociation, text_t>;
using SymFilesFoundHandler =
    FilesFoundHandler<&IFilesFoundCallback::symFilesFound, &ISearchHistory::addSymFileAssociation,
                      text_t, text_t, text_t>;
using SrcFilesFoundHandler =
    FilesFoundHandler<&IFilesFoundCallback::srcFilesFound, &ISearchHistory::addSrcFileAssociation,
                      text_t, text_t, text_t>;

using BinNoFilesFoundHandler = NoFilesFoundHandler<&INoFilesFoundCallback::noBinFilesFound,
                                                   &ISearchHistory::addBinFileAssociation, text_t>;
using SymNoFilesFoundHandler =
    NoFilesFoundHandler<&INoFilesFoundCallback::noSymFilesFound,
                        &ISearchHistory::addSymFileAssociation, text_t, text_t, text_t>;
using SrcNoFilesFoundHandler =
    NoFilesFoundHandler<&INoFilesFoundCallback::noSrcFilesFound,
                        &ISearchHistory::addSrcFileAssociation, text_t, text_t, text_t>;

} // namespace

bool DefaultSearchStartedCallback::processSearchStarted(ISearchStartedHandler& handler,
                                                        IStringContainer& suggestions) {
    bool const result = handler.callUserCallback(suggestions);
    search_started_behavior_t const behavior = m_behavior;
    if (!result || behavior == ssbNoHistory)
        return result;
    ObjectPtr<IFileAssociation> const association = handler.lookupHistory();
    if (!association)
        return true;
    char const* const resolvedName = association->resolvedName();
    if (resolvedName == nullptr)
        return false;
    suggestions.add(resolvedName);
    return behavior == ssbSuggestFromHistory;
}

bool DefaultSearchStartedCallback::binFileSearchStarted(char const* fileName,
                                                        IStringContainer& suggestions) {
    BinSearchStartedHandler handler(m_pHistory, m_pUserCallback, fileName);
    return processSearchStarted(handler, suggestions);
}

bool DefaultSearchStartedCallback::symFileSearchStarted(char const* fileName,
                                                        char const* binaryName,
                                                        char const* checksum,
                                                        IStringContainer& suggestions) {
    SymSearchStartedHandler handler(m_pHistory, m_pUserCallback, fileName, binaryName, checksum);
    return processSearchStarted(handler, suggestions);
}

bool DefaultSearchStartedCallback::srcFileSearchStarted(char const* fileName,
                                                        char const* binaryName,
                                                        char const* checksum,
                                                        IStringContainer& suggestions) {
    SrcSearchStartedHandler handler(m_pHistory, m_pUserCallback, fileName, binaryName, checksum);
    return processSearchStarted(handler, suggestions);
}

ObjectPtr<IValidFile> DefaultFilesFoundCallback::processFilesFound(IFilesFoundHandler& handler,
                                                                   IValidFileIterator& files) {
    ObjectPtr<IValidFile> result = handler.callUserCallback(files);
    if (m_behavior == ffbNoHistory)
        return result;
    if (!result)
        result = files.next();
    if (result)
        handler.updateHistory(result->name());
    return result;
}

ObjectPtr<IValidFile> DefaultFilesFoundCallback::binFilesFound(char const* fileName,
                                                               IValidFileIterator& files) {
    BinFilesFoundHandler handler(m_pHistory, m_pUserCallback, fileName);
    return processFilesFound(handler, files);
}

ObjectPtr<IValidFile> DefaultFilesFoundCallback::symFilesFound(char const* fileName,
                                                               char const* binaryName,
                                                               char const* checksum,
                                                               IValidFileIterator& files) {
    SymFilesFoundHandler handler(m_pHistory, m_pUserCallback, fileName, binaryName, checksum);
    return processFilesFound(handler, files);
}

ObjectPtr<IValidFile> DefaultFilesFoundCallback::srcFilesFound(char const* fileName,
                                                               char const* binaryName,
                                                               char const* checksum,
                                                               IValidFileIterator& files) {
    SrcFilesFoundHandler handler(m_pHistory, m_pUserCallback, fileName, binaryName, checksum);
    return processFilesFound(handler, files);
}

ObjectPtr<IValidFile>
DefaultNoFilesFoundCallback::processNoFilesFound(INoFilesFoundHandler& handler) {
    ObjectPtr<IValidFile> result = handler.callUserCallback();
    no_files_found_behavior_t const behavior = m_behavior;
    if (behavior == nfbNoHistory || behavior == nfbNoHistoryUpdate)
        return result;
    handler.updateHistory(result ? result->name() : nullptr);
    return result;
}

ObjectPtr<IValidFile>
DefaultNoFilesFoundCallback::noBinFilesFound(char const* fileName, IValidator& validator,
                                             IInvalidFileIterator& invalidFiles,
                                             IValidFileIterator& validFiles) {
    BinNoFilesFoundHandler handler(m_pHistory, m_pUserCallback, validator, invalidFiles, validFiles,
                                   fileName);
    return processNoFilesFound(handler);
}

ObjectPtr<IValidFile> DefaultNoFilesFoundCallback::noSymFilesFound(
    char const* fileName, char const* binaryName, char const* checksum, IValidator& validator,
    IInvalidFileIterator& invalidFiles, IValidFileIterator& validFiles) {
    SymNoFilesFoundHandler handler(m_pHistory, m_pUserCallback, validator, invalidFiles, validFiles,
                                   fileName, binaryName, checksum);
    return processNoFilesFound(handler);
}

ObjectPtr<IValidFile> DefaultNoFilesFoundCallback::noSrcFilesFound(
    char const* fileName, char const* binaryName, char const* checksum, IValidator& validator,
    IInvalidFileIterator& invalidFiles, IValidFileIterator& validFiles) {
    SrcNoFilesFoundHandler handler(m_pHistory, m_pUserCallback, validator, invalidFiles, validFiles,
                                   fileName, binaryName, checksum);
    return processNoFilesFound(handler);
}

} // namespace LK_2_13
