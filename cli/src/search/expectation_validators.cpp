#include "search/expectation_validators.h"

#include "console/texts.h"

#include <sys/stat.h>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

struct stat statusOf(std::string const& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0)
        status = {};
    return status;
}

std::string modificationTime(std::string const& file) {
    return std::to_string(statusOf(file).st_mtim.tv_sec);
}

std::string expectedAndFound(std::string const& expected, std::string const& found) {
    return textOf(Text::expected_found, {expected, found});
}

/// The library's sentence first, the difference in brackets behind it.
template <class Message>
void fill(Message& message, IMsgContainer& container, char const* fileName,
          std::string const& difference) {
    message.fillMessage(container, fileName);
    char const* const sentence = container.get();
    container.put(sentence != nullptr ? (std::string(sentence) + " (" + difference + ")").c_str()
                                      : difference.c_str());
}

} // namespace

ExpectedChecksum::ExpectedChecksum(search_category_t category, ObjectPtr<IChecksum> const& expected)
    : ChecksumValidator(category, expected)
    , m_pCalculator(IChecksumCalculator::create())
    , m_pExpected(expected) {}

/// The base leaves a file without a checksum undecided, which the policy would accept: but the user
/// named the content that is wanted.
validation_result_t ExpectedChecksum::validate(char const* fileName,
                                               IErrorInfoContainer& errorInfo) {
    m_pFound = m_pCalculator->calculateChecksum(fileName, m_pExpected->type());
    if (m_pFound && m_pFound->isEqualTo(*m_pExpected))
        return vrValid;
    setErrorMessage(errorInfo, fileName);
    return vrInvalid;
}

template <class Mismatch>
void ExpectedChecksum::fillMessage(Mismatch& mismatch, IMsgContainer& container,
                                   char const* fileName) {
    std::string const expected =
        (m_pExpected->type() == ctSha1 ? "sha1 " : "md5 ") + std::string(m_pExpected->value());
    if (m_pFound)
        return fill(mismatch, container, fileName, expectedAndFound(expected, m_pFound->value()));
    auto const unread = IMessageMgr::create()->getBinFileReadingErrorMessage();
    fill(*unread, container, fileName, expectedAndFound(expected, textOf(Text::none)));
}

void ExpectedChecksum::fillErrorMessageForBinFile(IBinChecksumMismatchMessage& message,
                                                  IMsgContainer& container, char const* fileName) {
    fillMessage(message, container, fileName);
}

void ExpectedChecksum::fillErrorMessageForSymFile(ISymChecksumMismatchMessage& message,
                                                  IMsgContainer& container, char const* fileName) {
    fillMessage(message, container, fileName);
}

void ExpectedChecksum::fillErrorMessageForSrcFile(ISrcChecksumMismatchMessage& message,
                                                  IMsgContainer& container, char const* fileName) {
    fillMessage(message, container, fileName);
}

ExpectedTimeAndSize::ExpectedTimeAndSize(std::uint64_t modificationTime, std::uint64_t size)
    : SourceFileTimeAndSizeMatchValidator(modificationTime, size)
    , m_expectedTime(modificationTime)
    , m_expectedSize(size) {}

validation_result_t ExpectedTimeAndSize::validate(char const* fileName,
                                                  IErrorInfoContainer& errorInfo) {
    m_fileName = fileName;
    return SourceFileTimeAndSizeMatchValidator::validate(fileName, errorInfo);
}

void ExpectedTimeAndSize::fillTimeMismatchErrorMessage(IModificationTimeMismatchMessage& message,
                                                       IMsgContainer& container) {
    fill(message, container, "",
         expectedAndFound(textOf(Text::time, {std::to_string(m_expectedTime)}),
                          modificationTime(m_fileName)));
}

void ExpectedTimeAndSize::fillSizeMismatchErrorMessage(ISizeMismatchMessage& message,
                                                       IMsgContainer& container) {
    fill(message, container, "",
         expectedAndFound(textOf(Text::bytes, {std::to_string(m_expectedSize)}),
                          std::to_string(statusOf(m_fileName).st_size)));
}

NotNewerThan::NotNewerThan(std::string const& referenceFile)
    : SourceFileUpToDateCheckValidator(referenceFile.c_str(), true)
    , m_referenceFile(referenceFile) {}

validation_result_t NotNewerThan::validate(char const* fileName, IErrorInfoContainer& errorInfo) {
    m_fileName = fileName;
    return SourceFileUpToDateCheckValidator::validate(fileName, errorInfo);
}

void NotNewerThan::fillUpToDateErrorMessage(ISourceFileUpToDateMessage& message,
                                            IMsgContainer& container) {
    fill(message, container, "",
         expectedAndFound(textOf(Text::time_or_before, {modificationTime(m_referenceFile)}),
                          modificationTime(m_fileName)));
}

} // namespace lokata::cli
