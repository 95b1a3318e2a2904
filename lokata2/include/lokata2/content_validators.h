#pragma once

#include <lokata2/checksum.h>
#include <lokata2/messages.h>
#include <lokata2/validator.h>

#include <cstdint>
#include <string>
#include <vector>

/// Ready-made validators for `IFileSearch`. Set them up first, then hand them to searches: they
/// hold no lock. A subclass may fill the messages in its own way.
namespace LK_2_13 {

/// The directories whose files are spared the comparison of times.
class LOKATA2_EXPORT ExceptionDirsHelper {
public:
    /// Keeps a copy as it is; the directory need not exist.
    void addTimeCheckExceptionDir(std::string& dir);
    /// True if any directory above the file is the same directory as one of the list, by identity
    /// and not by name. An empty list asks nothing of the file system.
    bool isTimeCheckException(char const* fileName);

private:
    std::vector<std::string> m_timeCheckExceptionDirs;
};

/// Compares a checksum. Undecided without an expected checksum, or if none can be computed.
class LOKATA2_EXPORT ChecksumValidator : public IValidatorCallback {
public:
    /// `category` decides message and severity: a source file that differs is a warning, others are
    /// errors. `expected` may be null.
    ChecksumValidator(search_category_t category, ObjectPtr<IChecksum> const& expected);

    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override;

    virtual void fillErrorMessageForBinFile(IBinChecksumMismatchMessage&, IMsgContainer&,
                                            char const* fileName);
    virtual void fillErrorMessageForSymFile(ISymChecksumMismatchMessage&, IMsgContainer&,
                                            char const* fileName);
    virtual void fillErrorMessageForSrcFile(ISrcChecksumMismatchMessage&, IMsgContainer&,
                                            char const* fileName);
    /// The same with an empty file name.
    virtual void fillErrorMessageForBinFile(IBinChecksumMismatchMessage&, IMsgContainer&);
    virtual void fillErrorMessageForSymFile(ISymChecksumMismatchMessage&, IMsgContainer&);
    virtual void fillErrorMessageForSrcFile(ISrcChecksumMismatchMessage&, IMsgContainer&);

    void setErrorMessage(IErrorInfoContainer& errorInfo, char const* fileName);

private:
    ObjectPtr<IChecksumCalculator> m_pCalculator;
    search_category_t m_category;
    ObjectPtr<IChecksum> m_pExpectedChecksum;
    ObjectPtr<IBinChecksumMismatchMessage> m_pBinMessage;
    ObjectPtr<ISymChecksumMismatchMessage> m_pSymMessage;
    ObjectPtr<ISrcChecksumMismatchMessage> m_pSrcMessage;
};

/// Compares the modification time (whole seconds since the epoch, no tolerance) and the size in
/// bytes that were recorded with the profile; 0 means not recorded. Rejects with a warning.
class LOKATA2_EXPORT SourceFileTimeAndSizeMatchValidator : public IValidatorCallback,
                                                           public ExceptionDirsHelper {
public:
    SourceFileTimeAndSizeMatchValidator(std::uint64_t modificationTime, std::uint64_t size);

    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override;

    virtual void fillTimeMismatchErrorMessage(IModificationTimeMismatchMessage&, IMsgContainer&);
    virtual void fillSizeMismatchErrorMessage(ISizeMismatchMessage&, IMsgContainer&);

private:
    std::uint64_t m_modificationTime;
    std::uint64_t m_size;
    ObjectPtr<IModificationTimeMismatchMessage> m_pTimeMismatchMessage;
    ObjectPtr<ISizeMismatchMessage> m_pSizeMismatchMessage;
};

/// Rejects a source file that is newer than a reference file, with a warning. The reference is read
/// once, at construction; if that failed every file is undecided, with a warning that says so.
class LOKATA2_EXPORT SourceFileUpToDateCheckValidator : public IValidatorCallback,
                                                        public ExceptionDirsHelper {
public:
    /// A file that is not newer is valid if `upToDateIsValid`, and undecided otherwise.
    SourceFileUpToDateCheckValidator(char const* referenceFile, bool upToDateIsValid);

    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override;

    virtual void fillUpToDateErrorMessage(ISourceFileUpToDateMessage&, IMsgContainer&);

private:
    std::uint64_t m_referenceTime;
    bool m_hasReferenceTime;
    bool m_upToDateIsValid;
    ObjectPtr<ISourceFileUpToDateMessage> m_pUpToDateMessage;
};

} // namespace LK_2_13
