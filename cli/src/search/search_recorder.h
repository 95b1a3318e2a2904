#pragma once

#include "search/every_file.h"
#include "search/search_record.h"

#include <lokata2/callbacks.h>

namespace lokata::cli {

/// Records what a search found and what it rejected: no file is taken before the no-files-found
/// callback, which gets both lists and takes the first valid file. For one search at a time.
class SearchRecorder {
public:
    LK_2_13::IFilesFoundCallback& filesFoundCallback() { return m_filesFound; }
    LK_2_13::INoFilesFoundCallback& noFilesFoundCallback() { return m_noFilesFound; }

    /// Begins a new record. With `every`, which the search must have as its validator, it runs all
    /// of its steps and meets every file; otherwise, with null, it ends with the first valid file.
    void start(SearchRequest const& request, EveryFile const* every);
    SearchRecord take() { return std::move(m_record); }

private:
    class NoFilesFound : public LK_2_13::NoFilesFoundCallback {
    public:
        explicit NoFilesFound(SearchRecorder& recorder) : m_recorder(recorder) {}
        ~NoFilesFound() override { disconnectHandlers(); }

    private:
        LK_2_13::ObjectPtr<LK_2_13::IValidFile>
        noFilesFound(LK_2_13::RequestedFile const&, LK_2_13::IValidator&,
                     LK_2_13::IInvalidFileIterator& invalidFiles,
                     LK_2_13::IValidFileIterator& validFiles) override {
            return m_recorder.record(invalidFiles, validFiles);
        }

        SearchRecorder& m_recorder;
    };

    LK_2_13::ObjectPtr<LK_2_13::IValidFile> record(LK_2_13::IInvalidFileIterator& invalidFiles,
                                                   LK_2_13::IValidFileIterator& validFiles);

    EveryFile const* m_pEvery = nullptr;
    SearchRecord m_record;
    LK_2_13::TakeNoFile m_filesFound;
    /// Last, so that it goes first: it writes to the record, and waits for a call to end.
    NoFilesFound m_noFilesFound{*this};
};

} // namespace lokata::cli
