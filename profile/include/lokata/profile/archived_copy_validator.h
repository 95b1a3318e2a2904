#pragma once

/// Guards the searches of a client against damaged copies in archives.

#include <lokata/profile/export.h>

#include <lokata2/search_env.h>
#include <lokata2/validator.h>

#include <memory>

namespace lokata::profile {

/// Rejects a copy in an archive of the environment, or in its cache directory, whose content is not
/// what its path ARCHIVE/CATEGORY/NAME/MD5/NAME says, with both values as the reason. Each file is
/// read once, until it changes. The resolver does so by itself; this is for searches beside it.
///
/// For one search at a time; must outlive the searches that it was passed to. Beside what the
/// environment and the inner validator throw, functions throw std::bad_alloc only.
class LOKATA_PROFILE_EXPORT ArchivedCopyValidator final : public LK_2_13::IValidatorCallback {
public:
    /// Takes the archives that `environment` has now; it may be null.
    explicit ArchivedCopyValidator(LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> const& environment);
    ~ArchivedCopyValidator() override;
    ArchivedCopyValidator(ArchivedCopyValidator const&) = delete;
    ArchivedCopyValidator& operator=(ArchivedCopyValidator const&) = delete;

    /// The client's own judgement, which comes first; null for none. It must outlive the searches
    /// that follow.
    void setInner(LK_2_13::IValidatorCallback* inner) { m_inner = inner; }

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) override;

private:
    class Impl;

    std::unique_ptr<Impl> m_impl;
    LK_2_13::IValidatorCallback* m_inner = nullptr;
};

} // namespace lokata::profile
