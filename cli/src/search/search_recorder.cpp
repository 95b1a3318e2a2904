#include "search/search_recorder.h"

#include <lokata2/utils.h>
#include <optstore2/message_catalog.h>

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

} // namespace

void SearchRecorder::start(SearchRequest const& request, bool all) {
    m_all = all;
    m_filesFound.setRunAllSteps(all);
    m_record = SearchRecord{request.category, request.name, {}, {}};
}

/// A search for a kernel can be several searches in a row. Each adds what it rejected; only the
/// last one can have found something.
ObjectPtr<IValidFile> SearchRecorder::record(IInvalidFileIterator& invalidFiles,
                                             IValidFileIterator& validFiles) {
    for (auto file = invalidFiles.next(); file; file = invalidFiles.next())
        m_record.rejected.push_back(
            {file->name(), vrInvalid, file->severity(), file->searchStep(), reasonOf(*file), {}});

    ObjectPtr<IValidFile> first = validFiles.next();
    for (auto file = first; file; file = m_all ? validFiles.next() : nullptr)
        m_record.found.push_back({file->name(), file->confidence(), file->searchStep()});
    return first;
}

} // namespace lokata::cli
