#include "lk_search_types.h"

#include "lk_text.h"

#include <lokata2/utils.h>
#include <lokata2/words.h>

#include <utility>

namespace LK_2_13 {

char const* const VMLINUX = "vmlinux";
char const* const VMLINUZ = "vmlinuz";

ValidFile::ValidFile(char const* name, confidence_t confidence, search_step_t step)
    : m_name(utils::getCanonicalName(name, false)), m_confidence(confidence), m_searchStep(step) {}

ValidFile::ValidFile(std::string canonicalName, search_step_t step)
    : m_name(std::move(canonicalName)), m_confidence(cfValidated), m_searchStep(step) {}

InvalidFile::InvalidFile(char const* name, severity_t severity, char const* errorMessage,
                         search_step_t step)
    : m_name(utils::getCanonicalName(name, false))
    , m_errorMessage(orEmpty(errorMessage))
    , m_severity(severity)
    , m_searchStep(step) {}

ObjectPtr<IValidFile> InvalidFile::forceTreatAsValid() const {
    return new ValidFile(m_name, m_searchStep);
}

void StringContainer::add(char const* text) {
    if (text != nullptr)
        m_list.emplace_back(text);
}

std::string dump(StringContainer const& container) {
    std::string result = "[StringContainer: m_list = ";
    for (std::string const& text : container.list())
        result.append(text).append(", ");
    return result += "]";
}

std::string dump(search_step_t step) {
    std::string_view const word = wordOf(c_searchSteps, step);
    return std::string(word.empty() ? "Unknown search step" : word);
}

} // namespace LK_2_13
