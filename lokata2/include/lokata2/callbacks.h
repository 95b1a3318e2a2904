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

/// Asked when nothing came of a search. Gets what was refused, what was found (plain iterators, no
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

/// Decides on a candidate that no validator could judge. Without this callback the answer is
/// `clAccept`. `step` is a `search_step_t` as the running step passed it on.
class LOKATA2_EXPORT IConfidenceLevelPolicyCallback : public EventGenerator {
public:
    virtual confidence_level_t getConfidenceLevel(search_category_t category,
                                                  unsigned int step) = 0;
};

} // namespace LK_2_13
