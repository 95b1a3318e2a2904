#pragma once

#include <lokata2/validator.h>

namespace lokata::cli {

/// Unpacks each packed kernel image that a search is about to accept. The library would do so
/// itself, but writes the copy under its final name, so that a program that is killed leaves a
/// part, which the next search takes for the kernel.
class KernelCopies final : public LK_2_13::IValidatorCallback {
public:
    /// What judges the candidates. It must be set by the time of a search, and outlive it.
    void setInner(LK_2_13::IValidatorCallback* inner) { m_inner = inner; }

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) override;

private:
    LK_2_13::IValidatorCallback* m_inner = nullptr;
};

} // namespace lokata::cli
