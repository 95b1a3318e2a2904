#pragma once

#include <lokata2/object.h>

#include <cstdint>

/// The words of a search: enumerations, result objects, iterators over results. The enumerations
/// have a fixed type of 32 bits because unknown values and unions of bits travel in them.
///
/// Result objects are immutable and may be handed to other threads. Texts that they give out stay
/// good as long as the object lives and are never null. Iterators and containers belong to the
/// search that handed them out: use them on its thread and only until the callback returns.
namespace LK_2_13 {

enum search_category_t : std::uint32_t {
    scBinaryFiles = 1,
    scSymbolFiles = 2,
    scSourceFiles = 3,
    /// Names search directories that serve all categories; no search runs in it.
    scAllFiles = 4
};

/// One stage of a search. Single bits, so that a set of steps fits in a mask.
enum search_step_t : std::uint32_t {
    ssArchiveSearchDirs = 1,
    ssHighPrioritySearchDirs = 2,
    ssAbsoluteNameLookup = 4,
    ssAroundBinaryLookup = 8,
    ssLowPrioritySearchDirs = 16,
    ssSystemDirs = 32,
    /// Never run as a step: marks a candidate that came from the caller or a callback.
    ssAskUser = 64,
    ssCacheSearchDir = 128
};

enum confidence_t : std::uint32_t {
    /// A validator has confirmed the file, or an invalid file was forced valid.
    cfValidated = 0,
    /// No validator could tell; the policy accepted at `clAccept`.
    cfPolicyHigh = 1,
    /// No validator could tell; the policy accepted at any other level.
    cfPolicyLow = 2
};

/// The policy's answer on a file that no validator could judge. Any other value accepts like
/// `clAcceptLow`.
enum confidence_level_t : std::uint32_t { clAccept = 0, clAcceptLow = 1, clReject = 2 };

enum severity_t : std::uint32_t {
    /// The file cannot be used: missing, not regular, unreadable, or another checksum.
    svError = 0,
    /// The file can be read but does not match: time stamp or size.
    svWarning = 1,
    /// Nobody set a severity.
    svNone = 2
};

enum validation_result_t : std::uint32_t { vrValid = 0, vrInvalid = 1, vrUndecided = 2 };

/// "vmlinux" and "vmlinuz".
extern LOKATA2_EXPORT char const* const VMLINUX;
extern LOKATA2_EXPORT char const* const VMLINUZ;

class LOKATA2_EXPORT IValidFile : public ILKObject {
public:
    /// The canonical path.
    virtual char const* name() const = 0;
    virtual confidence_t confidence() const = 0;
    /// The step that found the file.
    virtual search_step_t searchStep() const = 0;
};

class LOKATA2_EXPORT IInvalidFile : public ILKObject {
public:
    /// The canonical path.
    virtual char const* name() const = 0;
    virtual severity_t severity() const = 0;
    /// The reason for a person; may be empty.
    virtual char const* errorMessage() const = 0;
    virtual search_step_t searchStep() const = 0;
    /// A new valid file of the same name and step, with confidence `cfValidated`: the decision of a
    /// no-files-found callback against the verdict. This object does not change.
    virtual ObjectPtr<IValidFile> forceTreatAsValid() const = 0;
};

/// A verdict: either a valid or an invalid file, the other one is null.
class LOKATA2_EXPORT IValidatedFile : public ILKObject {
public:
    virtual ObjectPtr<IValidFile> validFile() = 0;
    virtual ObjectPtr<IInvalidFile> invalidFile() = 0;
};

class LOKATA2_EXPORT IValidFileIterator {
public:
    /// Starts over.
    virtual void reset() = 0;
    /// The next file, or null at the end. The iterator that a files-found callback gets runs
    /// further search steps when the files found so far are used up.
    virtual ObjectPtr<IValidFile> next() = 0;

protected:
    ~IValidFileIterator() = default;
};

class LOKATA2_EXPORT IInvalidFileIterator {
public:
    /// Starts over.
    virtual void reset() = 0;
    /// The next file, or null at the end.
    virtual ObjectPtr<IInvalidFile> next() = 0;

protected:
    ~IInvalidFileIterator() = default;
};

/// The suggested resolutions of a search, in order. Duplicates stay.
class LOKATA2_EXPORT IStringContainer {
public:
    /// Appends a copy. Ignores null.
    virtual void add(char const* text) = 0;

protected:
    ~IStringContainer() = default;
};

} // namespace LK_2_13
