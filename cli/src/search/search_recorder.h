#pragma once

#include "search/search_record.h"

#include <lokata2/callbacks.h>

namespace lokata::cli {

/// Records what a search found and what it rejected. No single callback of the library sees both
/// unless nothing was taken: so the files-found callback only makes the steps run and takes no
/// file, which leads into the no-files-found callback. That one gets both lists and takes the first
/// valid file. For one search at a time.
class SearchRecorder {
public:
    LK_2_13::IFilesFoundCallback& filesFoundCallback() { return m_filesFound; }
    LK_2_13::INoFilesFoundCallback& noFilesFoundCallback() { return m_noFilesFound; }

    /// Begins a new record. With `all` the search runs all of its steps, otherwise it ends with the
    /// first valid file.
    void start(SearchRequest const& request, bool all);
    SearchRecord take() { return std::move(m_record); }

private:
    class FilesFound : public LK_2_13::IFilesFoundCallback {
    public:
        explicit FilesFound(SearchRecorder& recorder) : m_recorder(recorder) {}
        ~FilesFound() override { disconnectHandlers(); }

        LK_2_13::ObjectPtr<LK_2_13::IValidFile>
        binFilesFound(char const* fileName, LK_2_13::IValidFileIterator& files) override;
        LK_2_13::ObjectPtr<LK_2_13::IValidFile>
        symFilesFound(char const* fileName, char const* binaryName, char const* checksum,
                      LK_2_13::IValidFileIterator& files) override;
        LK_2_13::ObjectPtr<LK_2_13::IValidFile>
        srcFilesFound(char const* fileName, char const* binaryName, char const* checksum,
                      LK_2_13::IValidFileIterator& files) override;

    private:
        SearchRecorder& m_recorder;
    };

    class NoFilesFound : public LK_2_13::INoFilesFoundCallback {
    public:
        explicit NoFilesFound(SearchRecorder& recorder) : m_recorder(recorder) {}
        ~NoFilesFound() override { disconnectHandlers(); }

        LK_2_13::ObjectPtr<LK_2_13::IValidFile>
        noBinFilesFound(char const* fileName, LK_2_13::IValidator& validator,
                        LK_2_13::IInvalidFileIterator& invalidFiles,
                        LK_2_13::IValidFileIterator& validFiles) override;
        LK_2_13::ObjectPtr<LK_2_13::IValidFile>
        noSymFilesFound(char const* fileName, char const* binaryName, char const* checksum,
                        LK_2_13::IValidator& validator, LK_2_13::IInvalidFileIterator& invalidFiles,
                        LK_2_13::IValidFileIterator& validFiles) override;
        LK_2_13::ObjectPtr<LK_2_13::IValidFile>
        noSrcFilesFound(char const* fileName, char const* binaryName, char const* checksum,
                        LK_2_13::IValidator& validator, LK_2_13::IInvalidFileIterator& invalidFiles,
                        LK_2_13::IValidFileIterator& validFiles) override;

    private:
        SearchRecorder& m_recorder;
    };

    LK_2_13::ObjectPtr<LK_2_13::IValidFile> pull(LK_2_13::IValidFileIterator& files) const;
    LK_2_13::ObjectPtr<LK_2_13::IValidFile> record(LK_2_13::IInvalidFileIterator& invalidFiles,
                                                   LK_2_13::IValidFileIterator& validFiles);

    bool m_all = false;
    SearchRecord m_record;
    FilesFound m_filesFound{*this};
    NoFilesFound m_noFilesFound{*this};
};

} // namespace lokata::cli
