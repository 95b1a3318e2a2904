#pragma once

#include <lokata2/search_env.h>
#include <lokata2/validator.h>

namespace LK_2_13 {

/// Told of the progress of a symbol download. The library only carries the pointer and calls
/// nothing.
class ISymSrvDownloadProgressCallback;

/// Finds one file at a time. Each operation runs wholly on the calling thread and gives the file,
/// or null when nothing usable was found. Several threads may search through one object as far as
/// their callbacks and validators allow it; with a file retriever each thread needs an object of
/// its own, as all searches of one fetch to the same place. Nothing of one search reaches the next.
///
/// An object whose environment has a file retriever when it is made keeps a private temporary
/// directory and removes it when it goes. A retriever that the environment gets later has no such
/// directory: it is asked for checksums and whether a name is local, but no file is fetched.
///
/// `fileName` is the name as it was recorded, `binaryFile` the binary that a symbol or source file
/// belongs to, `checksum` the expected checksum as text: both are handed to the callbacks and may
/// be null. `validatorCallback` may be null and is not owned. `suggestedResolution` is a path that
/// the caller has in mind and is tried before any step; it may be null. Exceptions of callbacks and
/// validators pass through.
class LOKATA2_EXPORT IFileSearch : public ILKObject {
public:
    /// A null environment makes searches without directories and callbacks.
    static ObjectPtr<IFileSearch> create(ObjectPtr<ISearchEnv> const& searchEnv);

    /// `stepsSelector` goes unchanged to the steps configurator of the environment. A search for
    /// "vmlinux" that finds nothing goes on, if the environment knows a kernel release, with
    /// "/boot/vmlinux-" and then "/boot/vmlinuz-" and the release, each a full search with
    /// callbacks of its own. A null name raises `std::logic_error`.
    virtual ObjectPtr<IValidFile> findBinFile(char const* fileName,
                                              IValidatorCallback* validatorCallback,
                                              char const* suggestedResolution,
                                              unsigned long long stepsSelector) = 0;
    /// A null or empty name gives null, with no callback called.
    virtual ObjectPtr<IValidFile>
    findSymFile(char const* fileName, char const* binaryFile, char const* checksum,
                IValidatorCallback* validatorCallback, char const* suggestedResolution,
                ISymSrvDownloadProgressCallback* progressCallback) = 0;
    /// As `findSymFile`.
    virtual ObjectPtr<IValidFile> findSrcFile(char const* fileName, char const* binaryFile,
                                              char const* checksum,
                                              IValidatorCallback* validatorCallback,
                                              char const* suggestedResolution) = 0;
};

} // namespace LK_2_13
