#include "search/every_file.h"

#include <lokata/profile/kernel_cache.h>

#include <lokata2/utils.h>
#include <toolbelt2/text.h>

namespace lokata::cli {

using namespace LK_2_13;

std::optional<confidence_t> EveryFile::confidenceOf(std::string const& name) const {
    auto const noted = m_noted.find(name);
    return noted == m_noted.end() ? std::nullopt : std::optional(noted->second);
}

validation_result_t EveryFile::validate(char const* fileName, IErrorInfoContainer& errorInfo) {
    validation_result_t const result = m_inner.validate(fileName, errorInfo);
    bool const isAccepted = result == vrValid || (result != vrInvalid && m_policy != clReject);
    if (!isAccepted || isOfPackedKernel(fileName))
        return result;
    confidence_t const unproven = m_policy == clAccept ? cfPolicyHigh : cfPolicyLow;
    m_noted.emplace(utils::getCanonicalName(fileName, false),
                    result == vrValid ? cfValidated : unproven);
    return vrInvalid;
}

bool EveryFile::isOfPackedKernel(char const* fileName) {
    if (!toolbelt2::starts_with(utils::getFileNameOnly(fileName), VMLINUZ))
        return m_unpacked.count(fileName) > 0;
    m_unpacked.insert(profile::unpackedKernel(fileName).path);
    return true;
}

} // namespace lokata::cli
