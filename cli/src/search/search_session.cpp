#include "search/search_session.h"

#include <lokata2/utils.h>
#include <toolbelt2/text.h>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

constexpr char const* c_clientId = SearchSetup::c_clientId;

char const* orNull(std::string const& text) {
    return text.empty() ? nullptr : text.c_str();
}

/// The library joins a name to its directories as it is, and steps up would lead out of them: so
/// they are resolved here, and left out where they lead above the start of the name.
std::string withoutStepsUp(std::string const& name) {
    if (name.find("..") == std::string::npos)
        return name;
    std::string result = utils::getCanonicalName(name.c_str(), false);
    while (toolbelt2::starts_with(result, "../"))
        result.erase(0, 3);
    return result == ".." ? "" : result;
}

} // namespace

SearchSession::SearchSession(SearchOptions const& options, History history)
    : m_setup(options), m_every(m_validator, options.policy) {
    registerCallbacks(history);
    m_pEnvironment = m_setup.environment(options.kernel_release);
    m_pCopies = std::make_unique<profile::ArchivedCopyValidator>(m_pEnvironment);
    m_validator.setInner(m_pCopies.get());
    m_pSearch = IFileSearch::create(m_pEnvironment);
}

/// With a history every answer goes through the no-files-found callback, which takes the valid
/// file: so it is there that the answer is remembered, found or not, and the default files-found
/// callback is left without a history of its own.
void SearchSession::registerCallbacks(History history) {
    auto& manager = m_setup.chain().manager();
    auto const& context = m_setup.chain().nearest();
    if (history == History::off) {
        manager.registerFilesFoundCallback(*context, c_clientId, &m_recorder.filesFoundCallback());
        manager.registerNoFilesFoundCallback(*context, c_clientId,
                                             &m_recorder.noFilesFoundCallback());
        return;
    }
    m_pHistories = new ChecksumHistories;
    m_pManipulator =
        createSearchManipulatorByContext(context, nullptr, ObjectPtr<ISearchHistory>(m_pHistories));
    m_pManipulator->setSearchStartedBehavior(
        c_clientId, history == History::only ? ssbUseHistoryOnly : ssbSuggestFromHistory);
    m_pManipulator->setOwnFilesFoundCallback(c_clientId, &m_recorder.filesFoundCallback());
    m_pManipulator->setOwnNoFilesFoundCallback(c_clientId, &m_recorder.noFilesFoundCallback());
    m_pManipulator->setNoFilesFoundBehavior(c_clientId, nfbUpdateHistory);
}

SearchRecord SearchSession::find(SearchRequest const& request, IValidatorCallback* validator,
                                 bool all) {
    m_every.start();
    m_recorder.start(request, all ? &m_every : nullptr);
    std::string const searched = withoutStepsUp(request.name);
    if (searched.empty())
        return m_recorder.take();
    if (m_pHistories)
        m_pHistories->select(request.checksum);
    m_pCopies->setInner(validator);
    IValidatorCallback* const judge =
        all ? static_cast<IValidatorCallback*>(&m_every) : &m_validator;
    char const* const name = searched.c_str();
    char const* const binary = orNull(request.binary);
    char const* const checksum = orNull(request.checksum);
    char const* const suggestion = orNull(request.suggestion);
    if (request.category == scBinaryFiles)
        m_pSearch->findBinFile(name, judge, suggestion, 0);
    else if (request.category == scSymbolFiles)
        m_pSearch->findSymFile(name, binary, checksum, judge, suggestion, nullptr);
    else
        m_pSearch->findSrcFile(name, binary, checksum, judge, suggestion);
    return m_recorder.take();
}

std::vector<SearchedPlace> SearchSession::places(SearchRequest const& request) const {
    std::string const searched = withoutStepsUp(request.name);
    if (searched.empty())
        return {};
    return searchedPlaces(*m_pEnvironment, request.category, searched, request.binary);
}

} // namespace lokata::cli
