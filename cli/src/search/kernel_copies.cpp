#include "search/kernel_copies.h"

#include <lokata/profile/kernel_cache.h>

#include <lokata2/utils.h>
#include <toolbelt2/text.h>

namespace lokata::cli {

using namespace LK_2_13;

validation_result_t KernelCopies::validate(char const* fileName, IErrorInfoContainer& errorInfo) {
    validation_result_t const result = m_inner->validate(fileName, errorInfo);
    // An image that cannot be unpacked stands for itself, so that a failure does no harm.
    if (result != vrInvalid && toolbelt2::starts_with(utils::getFileNameOnly(fileName), VMLINUZ))
        static_cast<void>(profile::unpackedKernel(fileName));
    return result;
}

} // namespace lokata::cli
