#include "search/search_recorder.h"

namespace lokata::cli {

using namespace LK_2_13;

void SearchRecorder::start(SearchRequest const& request, bool all) {
    m_all = all;
    m_record = SearchRecord{request.category, request.name, {}, {}};
}

ObjectPtr<IValidFile> SearchRecorder::pull(IValidFileIterator& files) const {
    while (m_all && files.next())
        continue;
    return nullptr;
}

// A search for a kernel can be several searches in a row. Each adds what it rejected; only the last
// one can have found something.
ObjectPtr<IValidFile> SearchRecorder::record(IInvalidFileIterator& invalidFiles,
                                             IValidFileIterator& validFiles) {
    for (auto file = invalidFiles.next(); file; file = invalidFiles.next())
        m_record.rejected.push_back({file->name(),
                                     vrInvalid,
                                     file->severity(),
                                     file->searchStep(),
                                     file->errorMessage(),
                                     {}});

    ObjectPtr<IValidFile> first = validFiles.next();
    for (auto file = first; file; file = m_all ? validFiles.next() : nullptr)
        m_record.found.push_back({file->name(), file->confidence(), file->searchStep()});
    return first;
}

ObjectPtr<IValidFile> SearchRecorder::FilesFound::binFilesFound(char const*,
                                                                IValidFileIterator& files) {
    return m_recorder.pull(files);
}

ObjectPtr<IValidFile> SearchRecorder::FilesFound::symFilesFound(char const*, char const*,
                                                                char const*,
                                                                IValidFileIterator& files) {
    return m_recorder.pull(files);
}

ObjectPtr<IValidFile> SearchRecorder::FilesFound::srcFilesFound(char const*, char const*,
                                                                char const*,
                                                                IValidFileIterator& files) {
    return m_recorder.pull(files);
}

ObjectPtr<IValidFile> SearchRecorder::NoFilesFound::noBinFilesFound(
    char const*, IValidator&, IInvalidFileIterator& invalidFiles, IValidFileIterator& validFiles) {
    return m_recorder.record(invalidFiles, validFiles);
}

ObjectPtr<IValidFile>
SearchRecorder::NoFilesFound::noSymFilesFound(char const*, char const*, char const*, IValidator&,
                                              IInvalidFileIterator& invalidFiles,
                                              IValidFileIterator& validFiles) {
    return m_recorder.record(invalidFiles, validFiles);
}

ObjectPtr<IValidFile>
SearchRecorder::NoFilesFound::noSrcFilesFound(char const*, char const*, char const*, IValidator&,
                                              IInvalidFileIterator& invalidFiles,
                                              IValidFileIterator& validFiles) {
    return m_recorder.record(invalidFiles, validFiles);
}

} // namespace lokata::cli
