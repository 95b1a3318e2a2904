#include "lk_search_impl.h"

#include "lk_log.h"
#include "lk_search_kernel.h"
#include "lk_search_types.h"

#include <brace/debug.h>
#include <lokata2/utils.h>

#include <algorithm>

namespace LK_2_13 {

FoundFilesLazyIterator::FoundFilesLazyIterator(IFileSearchStrategy& strategy,
                                               IValidatorInternal& validator,
                                               unsigned long long stepsSelector)
    : m_strategy(strategy)
    , m_validator(validator)
    , m_validIterator(m_validFiles)
    , m_invalidIterator(m_invalidFiles)
    , m_current(m_validFiles.begin())
    , m_pStepsIterator(m_strategy.getSearchStepsIterator(stepsSelector)) {
    if (!m_pStepsIterator) {
        BRACE_2_18::debug::report("Null pointer", "vcs/lokata2/src/lk_search_impl",
                                  __PRETTY_FUNCTION__);
        return;
    }
    m_pStepsIterator->reset();
}

void FoundFilesLazyIterator::reset() {
    m_current = m_validFiles.begin();
}

ObjectPtr<IValidFile> FoundFilesLazyIterator::next() {
    LK_TRACE();
    if (m_current != m_validFiles.end())
        return *m_current++;

    search_step_t step{};
    if (!m_pStepsIterator || !m_pStepsIterator->current(step)) {
        LK_LOG_INFO("Nothing found");
        return {};
    }
    if (!runStep(step))
        return {};
    if (m_current != m_validFiles.end())
        LK_LOG_INFO("Found file: " << (*m_current)->name() << " in step: " << dump(step));
    m_pStepsIterator->next();
    return next();
}

/// False for a value that is no step, which only a client's own steps iterator can give. That
/// iterator is then not moved on, so it is asked to run the same value again by the next call.
bool FoundFilesLazyIterator::runStep(search_step_t step) {
    switch (step) {
    case ssArchiveSearchDirs:
        m_strategy.findInArchiveDirs(*this);
        return true;
    case ssHighPrioritySearchDirs:
        m_strategy.findInHighPriorityDirs(*this);
        return true;
    case ssAbsoluteNameLookup:
        m_strategy.lookUpAbsoluteName(*this);
        return true;
    case ssAroundBinaryLookup:
        m_strategy.lookUpAroundBinary(*this);
        return true;
    case ssLowPrioritySearchDirs:
        m_strategy.findInLowPriorityDirs(*this);
        return true;
    case ssSystemDirs:
        m_strategy.findInSystemDirs(*this);
        return true;
    case ssCacheSearchDir:
        m_strategy.findInCacheDir(*this);
        return true;
    default:
        LK_LOG_ERROR("Unexpected value.");
        return false;
    }
}

/// Most candidates of a search do not exist, so nothing is built or copied before that is known.
bool FoundFilesLazyIterator::validateAndAdd(char const* fileName, unsigned int step) {
    LK_TRACE();
    if (!utils::fileExists(fileName)) {
        LK_LOG_INFO("*** DO__NOT__EXIST " << fileName);
        return false;
    }

    ObjectPtr<IValidatedFile> validated = m_validator.validateInternal(fileName, step);
    std::string unpackedKernel;
    if (validated->validFile() && isCompressedKernelName(fileName)) {
        if (!substituteKernelImage(m_validator, fileName, step, validated, unpackedKernel))
            return false;
        if (!unpackedKernel.empty())
            fileName = unpackedKernel.c_str();
    }

    if (ObjectPtr<IValidFile> const valid = validated->validFile())
        return addValid(valid, fileName);
    addInvalid(validated->invalidFile(), fileName);
    return false;
}

bool FoundFilesLazyIterator::addValid(ObjectPtr<IValidFile> const& file, char const* candidate) {
    if (!m_validNames.insert(file->name()).second) {
        LK_LOG_INFO("*** VALID_DUBLICAT " << candidate);
        return false;
    }
    auto const added = m_validFiles.insert(m_validFiles.end(), file);
    if (m_current == m_validFiles.end())
        m_current = added;
    LK_LOG_INFO("*** VALID____ADDED " << candidate);
    return true;
}

void FoundFilesLazyIterator::addInvalid(ObjectPtr<IInvalidFile> const& file,
                                        char const* candidate) {
    if (!m_invalidNames.insert(file->name()).second) {
        LK_LOG_INFO("*** INVALID_DUBLIC " << candidate);
        return;
    }
    m_invalidFiles.push_back(file);
    LK_LOG_INFO("*** INVALID__ADDED " << candidate);
}

void FoundFilesLazyIterator::processSuggestedResolution(char const* fileName) {
    validateAndAdd(fileName, ssAskUser);
}

bool fixLinuxName(std::string& name) {
    bool const withBackslashes = name.size() > 1 && name[0] == '\\' && name[1] != '\\';
    bool const withSlashes =
        !name.empty() && name[0] == '/' && (name.size() == 1 || name[1] != '/');
    if (!withBackslashes && !withSlashes)
        return false;
    std::replace(name.begin(), name.end(), '\\', '/');
    return true;
}

} // namespace LK_2_13
