#include "lk_search_validator.h"

#include "lk_path.h"
#include "lk_search_impl.h"
#include "lk_search_types.h"

#include <optstore2/message_catalog.h>

namespace LK_2_13 {

class Validator::ErrorInfoContainer final : public LK_2_13::ErrorInfoContainer {
public:
    ObjectPtr<IValidatedFile> reject(char const* fileName, search_step_t step) const {
        return new ValidatedFile(
            *new InvalidFile(fileName, severity(), errorMessage().c_str(), step));
    }
};

namespace {

ObjectPtr<IValidatedFile> accept(char const* fileName, confidence_t confidence,
                                 search_step_t step) {
    return new ValidatedFile(*new ValidFile(fileName, confidence, step));
}

std::string checksumMismatchMessage(char const* fileName) {
    using BRACE_2_18::generic::argument;
    using BRACE_2_18::generic::varg_list;
    char const* const key = "%CannotMatchFileWithChecksumMismatch";
    auto const* const catalog = optstore2::getMessageCatalog("lokata.climgr");
    if (catalog == nullptr)
        return key;
    return catalog->message(key).as_ustring(varg_list::with_first(argument("%1", fileName)));
}

} // namespace

Validator::Validator(IValidatorCallback* callback, IConfidenceLevelPolicyCallback* policy,
                     search_category_t category, IFileRetriever* retriever, char const* fileName)
    : m_decorator(callback)
    , m_pConfidencePolicy(policy)
    , m_category(category)
    , m_pFileRetriever(retriever)
    , m_fileName(fileName) {}

ObjectPtr<IValidatedFile> Validator::validate(char const* fileName) {
    return validateInternal(fileName, ssAskUser);
}

ObjectPtr<IValidatedFile> Validator::validateInternal(char const* fileName, unsigned int step) {
    constexpr unsigned int c_stepBits = 0xffff;
    auto const searchStep = static_cast<search_step_t>(step & c_stepBits);
    ErrorInfoContainer errorInfo;
    if (searchStep == ssCacheSearchDir && m_pFileRetriever != nullptr &&
        hasOtherChecksum(fileName)) {
        errorInfo.setSeverity(svError);
        errorInfo.setErrorMessage(checksumMismatchMessage(fileName).c_str());
        return errorInfo.reject(fileName, searchStep);
    }

    switch (m_decorator.validate(fileName, errorInfo)) {
    case vrValid:
        return accept(fileName, cfValidated, searchStep);
    case vrInvalid:
        return errorInfo.reject(fileName, searchStep);
    default:
        break;
    }
    switch (m_pConfidencePolicy->getConfidenceLevel(m_category, step)) {
    case clReject:
        return errorInfo.reject(fileName, searchStep);
    case clAccept:
        return accept(fileName, cfPolicyHigh, searchStep);
    default:
        return accept(fileName, cfPolicyLow, searchStep);
    }
}

bool Validator::hasOtherChecksum(char const* fileName) {
    if (!m_pChecksum)
        retrieveChecksum();
    if (!m_pChecksum)
        return false;
    ObjectPtr<IChecksumCalculator> const calculator = IChecksumCalculator::create();
    if (!calculator)
        return false;
    ObjectPtr<IChecksum> const found = calculator->calculateChecksum(fileName, m_pChecksum->type());
    return found && !found->isEqualTo(*m_pChecksum);
}

/// A failing retriever may have written something: only the result of a success is kept, so that
/// the next candidate asks again.
void Validator::retrieveChecksum() {
    std::string name = m_fileName;
    if (!fixLinuxName(name) && !paths::isRooted(name))
        return;
    ObjectPtr<IChecksum> checksum;
    if (m_pFileRetriever->retrieveChecksum(name.c_str(), checksum) == 0)
        m_pChecksum = checksum;
}

} // namespace LK_2_13
