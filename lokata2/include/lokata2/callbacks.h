#pragma once

#include <lokata2/event.h>
#include <lokata2/search_types.h>
#include <lokata2/validator.h>

/// The callbacks of a search, implemented by a client. They run on the thread of the search,
/// several searches may run one callback at once, and exceptions pass through the search to its
/// caller. A callback may be destroyed at any time on another thread; `EventGenerator` tells what
/// its destructor has to do. Texts are never null; those of symbol and source searches may be
/// empty.
namespace LK_2_13 {

/// Asked before a search. The answer true lets the search steps run; false runs none, and only the
/// suggestions are judged. Paths added to `suggestions` are tried before any step.
class LOKATA2_EXPORT ISearchStartedCallback : public EventGenerator {
public:
    virtual bool binFileSearchStarted(char const* fileName, IStringContainer& suggestions) = 0;
    virtual bool symFileSearchStarted(char const* fileName, char const* binaryName,
                                      char const* checksum, IStringContainer& suggestions) = 0;
    virtual bool srcFileSearchStarted(char const* fileName, char const* binaryName,
                                      char const* checksum, IStringContainer& suggestions) = 0;
};

/// Asked when a first valid file is at hand. `files` starts at that file; each `next` beyond the
/// files found so far runs further steps. The file returned is the result of the search; null
/// rejects all of them and leads to the no-files-found callback. Without this callback the first
/// file is the result.
class LOKATA2_EXPORT IFilesFoundCallback : public EventGenerator {
public:
    virtual ObjectPtr<IValidFile> binFilesFound(char const* fileName,
                                                IValidFileIterator& files) = 0;
    virtual ObjectPtr<IValidFile> symFilesFound(char const* fileName, char const* binaryName,
                                                char const* checksum,
                                                IValidFileIterator& files) = 0;
    virtual ObjectPtr<IValidFile> srcFilesFound(char const* fileName, char const* binaryName,
                                                char const* checksum,
                                                IValidFileIterator& files) = 0;
};

/// Asked when nothing came of a search. Gets what was rejected, what was found (plain iterators, no
/// step runs) and the search's own judgement for further paths. What it returns is the result as it
/// stands; null means that there is none.
class LOKATA2_EXPORT INoFilesFoundCallback : public EventGenerator {
public:
    virtual ObjectPtr<IValidFile> noBinFilesFound(char const* fileName, IValidator& validator,
                                                  IInvalidFileIterator& invalidFiles,
                                                  IValidFileIterator& validFiles) = 0;
    virtual ObjectPtr<IValidFile> noSymFilesFound(char const* fileName, char const* binaryName,
                                                  char const* checksum, IValidator& validator,
                                                  IInvalidFileIterator& invalidFiles,
                                                  IValidFileIterator& validFiles) = 0;
    virtual ObjectPtr<IValidFile> noSrcFilesFound(char const* fileName, char const* binaryName,
                                                  char const* checksum, IValidator& validator,
                                                  IInvalidFileIterator& invalidFiles,
                                                  IValidFileIterator& validFiles) = 0;
};

/// What a search is for, as its callbacks are told. The texts live as long as the call.
struct RequestedFile {
    search_category_t category;
    char const* file_name;
    /// Empty for a binary, as `checksum` is.
    char const* binary_name;
    char const* checksum;
};

/// The base of a callback that does the same for files of every category. The class that derives
/// from it calls `disconnectHandlers` in its destructor, as that of any callback does; so with the
/// next two.
class SearchStartedCallback : public ISearchStartedCallback {
public:
    bool binFileSearchStarted(char const* fileName, IStringContainer& suggestions) override {
        return searchStarted({scBinaryFiles, fileName, "", ""}, suggestions);
    }
    bool symFileSearchStarted(char const* fileName, char const* binaryName, char const* checksum,
                              IStringContainer& suggestions) override {
        return searchStarted({scSymbolFiles, fileName, binaryName, checksum}, suggestions);
    }
    bool srcFileSearchStarted(char const* fileName, char const* binaryName, char const* checksum,
                              IStringContainer& suggestions) override {
        return searchStarted({scSourceFiles, fileName, binaryName, checksum}, suggestions);
    }

private:
    virtual bool searchStarted(RequestedFile const& file, IStringContainer& suggestions) = 0;
};

class FilesFoundCallback : public IFilesFoundCallback {
public:
    ObjectPtr<IValidFile> binFilesFound(char const* fileName, IValidFileIterator& files) override {
        return filesFound({scBinaryFiles, fileName, "", ""}, files);
    }
    ObjectPtr<IValidFile> symFilesFound(char const* fileName, char const* binaryName,
                                        char const* checksum, IValidFileIterator& files) override {
        return filesFound({scSymbolFiles, fileName, binaryName, checksum}, files);
    }
    ObjectPtr<IValidFile> srcFilesFound(char const* fileName, char const* binaryName,
                                        char const* checksum, IValidFileIterator& files) override {
        return filesFound({scSourceFiles, fileName, binaryName, checksum}, files);
    }

private:
    virtual ObjectPtr<IValidFile> filesFound(RequestedFile const& file,
                                             IValidFileIterator& files) = 0;
};

class NoFilesFoundCallback : public INoFilesFoundCallback {
public:
    ObjectPtr<IValidFile> noBinFilesFound(char const* fileName, IValidator& validator,
                                          IInvalidFileIterator& invalidFiles,
                                          IValidFileIterator& validFiles) override {
        return noFilesFound({scBinaryFiles, fileName, "", ""}, validator, invalidFiles, validFiles);
    }
    ObjectPtr<IValidFile> noSymFilesFound(char const* fileName, char const* binaryName,
                                          char const* checksum, IValidator& validator,
                                          IInvalidFileIterator& invalidFiles,
                                          IValidFileIterator& validFiles) override {
        return noFilesFound({scSymbolFiles, fileName, binaryName, checksum}, validator,
                            invalidFiles, validFiles);
    }
    ObjectPtr<IValidFile> noSrcFilesFound(char const* fileName, char const* binaryName,
                                          char const* checksum, IValidator& validator,
                                          IInvalidFileIterator& invalidFiles,
                                          IValidFileIterator& validFiles) override {
        return noFilesFound({scSourceFiles, fileName, binaryName, checksum}, validator,
                            invalidFiles, validFiles);
    }

private:
    virtual ObjectPtr<IValidFile> noFilesFound(RequestedFile const& file, IValidator& validator,
                                               IInvalidFileIterator& invalidFiles,
                                               IValidFileIterator& validFiles) = 0;
};

/// Takes none of the files found. So each search comes to its no-files-found callback, the only one
/// that sees what was found beside what was rejected, and whose answer is then the result.
class TakeNoFile final : public FilesFoundCallback {
public:
    ~TakeNoFile() override { disconnectHandlers(); }

    /// True lets each search run all its steps first; false, as it is at first, leaves it where the
    /// first file was found. Set it while no search runs.
    void setRunAllSteps(bool all) { m_runAllSteps = all; }

private:
    ObjectPtr<IValidFile> filesFound(RequestedFile const&, IValidFileIterator& files) override {
        while (m_runAllSteps && files.next())
            continue;
        return {};
    }

    bool m_runAllSteps = false;
};

/// Decides on a candidate that no validator could judge. Without this callback the answer is
/// `clAccept`. `step` is a `search_step_t` as the running step passed it on.
class LOKATA2_EXPORT IConfidenceLevelPolicyCallback : public EventGenerator {
public:
    virtual confidence_level_t getConfidenceLevel(search_category_t category,
                                                  unsigned int step) = 0;
};

} // namespace LK_2_13
