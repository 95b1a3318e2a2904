#include "search/search_recorder.h"

#include <lokata2/utils.h>
#include <optstore2/message_catalog.h>

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

/// The library gives no reason for a directory, nor where the policy rejects what nothing proves.
std::string reasonOf(IInvalidFile const& file) {
    if (*file.errorMessage() != '\0')
        return file.errorMessage();
    return optstore2::messageText("lokata_profile",
                                  utils::isDirectory(file.name()) ? "IsDirectory" : "NotProven",
                                  {file.name()});
}

/// In the order of a search, which suggestions begin.
std::ptrdiff_t orderOf(search_step_t step) {
    auto const* const found =
        std::find_if(std::begin(profile::c_searchSteps), std::end(profile::c_searchSteps),
                     [step](auto const& each) { return each.value == step; });
    return step == ssAskUser ? -1 : found - std::begin(profile::c_searchSteps);
}

} // namespace

void SearchRecorder::start(SearchRequest const& request, EveryFile const* every) {
    m_pEvery = every;
    m_filesFound.setRunAllSteps(every != nullptr);
    m_record = SearchRecord{request.category, request.name, {}, {}};
}

/// A search for a kernel can be several searches in a row. Each adds what it rejected; only the
/// last one can have found something.
ObjectPtr<IValidFile> SearchRecorder::record(IInvalidFileIterator& invalidFiles,
                                             IValidFileIterator& validFiles) {
    ObjectPtr<IValidFile> first;
    for (auto file = invalidFiles.next(); file; file = invalidFiles.next()) {
        auto const accepted =
            m_pEvery != nullptr ? m_pEvery->confidenceOf(file->name()) : std::nullopt;
        if (!accepted) {
            m_record.rejected.push_back({file->name(),
                                         vrInvalid,
                                         file->severity(),
                                         file->searchStep(),
                                         reasonOf(*file),
                                         {}});
            continue;
        }
        m_record.found.push_back({file->name(), *accepted, file->searchStep()});
        if (!first)
            first = file->forceTreatAsValid();
    }
    for (auto file = validFiles.next(); file;
         file = m_pEvery != nullptr ? validFiles.next() : nullptr) {
        m_record.found.push_back({file->name(), file->confidence(), file->searchStep()});
        if (!first)
            first = file;
    }
    std::stable_sort(m_record.found.begin(), m_record.found.end(),
                     [](FoundFile const& left, FoundFile const& right) {
                         return orderOf(left.step) < orderOf(right.step);
                     });
    return first;
}

} // namespace lokata::cli
