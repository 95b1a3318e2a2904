#include <lokata2/content_validators.h>

#include "lk_messages.h"
#include "lk_path.h"
#include "lk_text.h"

#include <boost/filesystem/operations.hpp>

#include <algorithm>

#include <sys/stat.h>

namespace LK_2_13 {

namespace {

/// Zeros for a file that has no answer.
struct TimeAndSize {
    bool is_known = false;
    std::uint64_t modification_time = 0;
    std::uint64_t size = 0;
};

TimeAndSize timeAndSizeOf(char const* fileName) {
    struct stat status {};
    if (::stat(orEmpty(fileName), &status) != 0)
        return {};
    // Recorded times come as sign-extended 32 bits, so the file's time is cut to the same.
    auto const seconds = static_cast<std::int32_t>(status.st_mtime);
    return {true, static_cast<std::uint64_t>(std::int64_t{seconds}),
            static_cast<std::uint64_t>(status.st_size)};
}

} // namespace

void ExceptionDirsHelper::addTimeCheckExceptionDir(std::string& dir) {
    m_timeCheckExceptionDirs.push_back(dir);
}

bool ExceptionDirsHelper::isTimeCheckException(char const* fileName) {
    if (m_timeCheckExceptionDirs.empty())
        return false;
    for (std::string_view directory = paths::parent(orEmpty(fileName)); !directory.empty();
         directory = paths::parent(directory)) {
        boost::filesystem::path const underTest(directory.begin(), directory.end());
        auto const isSame = [&](std::string const& exception) {
            boost::system::error_code noMatch;
            return boost::filesystem::equivalent(exception, underTest, noMatch);
        };
        if (std::any_of(m_timeCheckExceptionDirs.begin(), m_timeCheckExceptionDirs.end(), isSame))
            return true;
    }
    return false;
}

ChecksumValidator::ChecksumValidator(search_category_t category,
                                     ObjectPtr<IChecksum> const& expected)
    : m_pCalculator(IChecksumCalculator::create())
    , m_category(category)
    , m_pExpectedChecksum(expected) {
    if (ObjectPtr<IMessageMgr> const manager = IMessageMgr::create()) {
        m_pBinMessage = manager->getBinChecksumMismatchMessage();
        m_pSymMessage = manager->getSymChecksumMismatchMessage();
        m_pSrcMessage = manager->getSrcChecksumMismatchMessage();
    }
}

validation_result_t ChecksumValidator::validate(char const* fileName,
                                                IErrorInfoContainer& errorInfo) {
    if (!m_pExpectedChecksum)
        return vrUndecided;
    ObjectPtr<IChecksum> const checksum =
        m_pCalculator->calculateChecksum(fileName, m_pExpectedChecksum->type());
    if (!checksum)
        return vrUndecided;
    if (checksum->isEqualTo(*m_pExpectedChecksum))
        return vrValid;
    setErrorMessage(errorInfo, fileName);
    return vrInvalid;
}

void ChecksumValidator::fillErrorMessageForBinFile(IBinChecksumMismatchMessage& message,
                                                   IMsgContainer& container, char const* fileName) {
    message.fillMessage(container, fileName);
}

void ChecksumValidator::fillErrorMessageForSymFile(ISymChecksumMismatchMessage& message,
                                                   IMsgContainer& container, char const* fileName) {
    message.fillMessage(container, fileName);
}

void ChecksumValidator::fillErrorMessageForSrcFile(ISrcChecksumMismatchMessage& message,
                                                   IMsgContainer& container, char const* fileName) {
    message.fillMessage(container, fileName);
}

void ChecksumValidator::fillErrorMessageForBinFile(IBinChecksumMismatchMessage& message,
                                                   IMsgContainer& container) {
    fillErrorMessageForBinFile(message, container, "");
}

void ChecksumValidator::fillErrorMessageForSymFile(ISymChecksumMismatchMessage& message,
                                                   IMsgContainer& container) {
    fillErrorMessageForSymFile(message, container, "");
}

void ChecksumValidator::fillErrorMessageForSrcFile(ISrcChecksumMismatchMessage& message,
                                                   IMsgContainer& container) {
    fillErrorMessageForSrcFile(message, container, "");
}

void ChecksumValidator::setErrorMessage(IErrorInfoContainer& errorInfo, char const* fileName) {
    MsgContainer container;
    switch (m_category) {
    case scBinaryFiles:
        if (m_pBinMessage)
            fillErrorMessageForBinFile(*m_pBinMessage, container, fileName);
        errorInfo.setSeverity(svError);
        break;
    case scSymbolFiles:
        if (m_pSymMessage)
            fillErrorMessageForSymFile(*m_pSymMessage, container, fileName);
        errorInfo.setSeverity(svError);
        break;
    case scSourceFiles:
        if (m_pSrcMessage)
            fillErrorMessageForSrcFile(*m_pSrcMessage, container, fileName);
        // Milder than the others: another version of a source file is still of use.
        errorInfo.setSeverity(svWarning);
        break;
    default:
        break;
    }
    errorInfo.setErrorMessage(container.textOr("%ChecksumMismatch"));
}

SourceFileTimeAndSizeMatchValidator::SourceFileTimeAndSizeMatchValidator(
    std::uint64_t modificationTime, std::uint64_t size)
    : m_modificationTime(modificationTime), m_size(size) {
    if (ObjectPtr<IMessageMgr> const manager = IMessageMgr::create()) {
        m_pTimeMismatchMessage = manager->getModificationTimeMismatchMessage();
        m_pSizeMismatchMessage = manager->getSizeMismatchMessage();
    }
}

validation_result_t SourceFileTimeAndSizeMatchValidator::validate(char const* fileName,
                                                                  IErrorInfoContainer& errorInfo) {
    TimeAndSize const file = timeAndSizeOf(fileName);
    bool const timeDiffers = m_modificationTime != 0 &&
                             m_modificationTime != file.modification_time &&
                             !isTimeCheckException(fileName);
    // The exception directories spare the time, never the size.
    bool const sizeDiffers = m_size != 0 && m_size != file.size;
    if (!timeDiffers && !sizeDiffers)
        return m_modificationTime != 0 || m_size != 0 ? vrValid : vrUndecided;

    MsgContainer container;
    if (timeDiffers && m_pTimeMismatchMessage)
        fillTimeMismatchErrorMessage(*m_pTimeMismatchMessage, container);
    if (!timeDiffers && m_pSizeMismatchMessage)
        fillSizeMismatchErrorMessage(*m_pSizeMismatchMessage, container);
    errorInfo.setErrorMessage(container.textOr("%ModificationTimeOrSizeMismatch"));
    errorInfo.setSeverity(svWarning);
    return vrInvalid;
}

void SourceFileTimeAndSizeMatchValidator::fillTimeMismatchErrorMessage(
    IModificationTimeMismatchMessage& message, IMsgContainer& container) {
    message.fillMessage(container, "");
}

void SourceFileTimeAndSizeMatchValidator::fillSizeMismatchErrorMessage(
    ISizeMismatchMessage& message, IMsgContainer& container) {
    message.fillMessage(container, "");
}

SourceFileUpToDateCheckValidator::SourceFileUpToDateCheckValidator(char const* referenceFile,
                                                                   bool upToDateIsValid)
    : m_referenceTime(0), m_hasReferenceTime(false), m_upToDateIsValid(upToDateIsValid) {
    TimeAndSize const reference = timeAndSizeOf(referenceFile);
    m_referenceTime = reference.modification_time;
    m_hasReferenceTime = reference.is_known;
    if (ObjectPtr<IMessageMgr> const manager = IMessageMgr::create())
        m_pUpToDateMessage = manager->getSourceFileUpToDateMessage();
}

validation_result_t SourceFileUpToDateCheckValidator::validate(char const* fileName,
                                                               IErrorInfoContainer& errorInfo) {
    if (!m_hasReferenceTime) {
        // An undecided verdict with a text, and that is meant: if the policy rejects the file, this
        // is the reason that a person reads. It has no fallback, as the file itself is not at
        // fault.
        MsgContainer container;
        if (putCatalogMessage(container, "NoDataForSourceFileValidation", prepareArgumentsList()))
            errorInfo.setErrorMessage(container.get());
        errorInfo.setSeverity(svWarning);
        return vrUndecided;
    }
    if (m_referenceTime < timeAndSizeOf(fileName).modification_time &&
        !isTimeCheckException(fileName)) {
        MsgContainer container;
        if (m_pUpToDateMessage)
            fillUpToDateErrorMessage(*m_pUpToDateMessage, container);
        errorInfo.setErrorMessage(container.textOr("%SourceFileUpToDate"));
        errorInfo.setSeverity(svWarning);
        return vrInvalid;
    }
    return m_upToDateIsValid ? vrValid : vrUndecided;
}

void SourceFileUpToDateCheckValidator::fillUpToDateErrorMessage(ISourceFileUpToDateMessage& message,
                                                                IMsgContainer& container) {
    message.fillMessage(container, "");
}

} // namespace LK_2_13
