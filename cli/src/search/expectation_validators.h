#pragma once

#include <lokata2/content_validators.h>

#include <cstdint>
#include <string>

/// The library's validators with messages that say what was expected and what was found. For one
/// thread each.
namespace lokata::cli {

/// Rejects a file whose checksum cannot be computed, too.
class ExpectedChecksum : public LK_2_13::ChecksumValidator {
public:
    ExpectedChecksum(LK_2_13::search_category_t category,
                     LK_2_13::ObjectPtr<LK_2_13::IChecksum> const& expected);

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) override;

    using ChecksumValidator::fillErrorMessageForBinFile;
    using ChecksumValidator::fillErrorMessageForSrcFile;
    using ChecksumValidator::fillErrorMessageForSymFile;
    void fillErrorMessageForBinFile(LK_2_13::IBinChecksumMismatchMessage&, LK_2_13::IMsgContainer&,
                                    char const* fileName) override;
    void fillErrorMessageForSymFile(LK_2_13::ISymChecksumMismatchMessage&, LK_2_13::IMsgContainer&,
                                    char const* fileName) override;
    void fillErrorMessageForSrcFile(LK_2_13::ISrcChecksumMismatchMessage&, LK_2_13::IMsgContainer&,
                                    char const* fileName) override;

private:
    template <class Mismatch>
    void fillMessage(Mismatch& mismatch, LK_2_13::IMsgContainer&, char const* fileName);

    LK_2_13::ObjectPtr<LK_2_13::IChecksumCalculator> m_pCalculator;
    LK_2_13::ObjectPtr<LK_2_13::IChecksum> m_pExpected;
    LK_2_13::ObjectPtr<LK_2_13::IChecksum> m_pFound; ///< Of the file being judged; may be null.
};

class ExpectedTimeAndSize : public LK_2_13::SourceFileTimeAndSizeMatchValidator {
public:
    /// Seconds since the epoch, and bytes; 0 expects nothing.
    ExpectedTimeAndSize(std::uint64_t modificationTime, std::uint64_t size);

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) override;
    void fillTimeMismatchErrorMessage(LK_2_13::IModificationTimeMismatchMessage&,
                                      LK_2_13::IMsgContainer&) override;
    void fillSizeMismatchErrorMessage(LK_2_13::ISizeMismatchMessage&,
                                      LK_2_13::IMsgContainer&) override;

private:
    std::uint64_t m_expectedTime;
    std::uint64_t m_expectedSize;
    std::string m_fileName; ///< The file being judged.
};

/// Valid is a file that is not newer than the reference.
class NotNewerThan : public LK_2_13::SourceFileUpToDateCheckValidator {
public:
    explicit NotNewerThan(std::string const& referenceFile);

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) override;
    void fillUpToDateErrorMessage(LK_2_13::ISourceFileUpToDateMessage&,
                                  LK_2_13::IMsgContainer&) override;

private:
    std::string m_referenceFile;
    std::string m_fileName; ///< The file being judged.
};

} // namespace lokata::cli
