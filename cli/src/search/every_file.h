#pragma once

#include <lokata2/validator.h>

#include <map>
#include <optional>
#include <set>
#include <string>

namespace lokata::cli {

/// Lets a search meet every file that passes: a step ends with the first one, so each is noted and
/// then reported as rejected. Packed kernels and what they unpack to keep their verdict, as the
/// library puts the one in the place of the other. For one thread.
class EveryFile final : public LK_2_13::IValidatorCallback {
public:
    /// `inner` judges, and must outlive this. `policy` is what the search has for files that it
    /// leaves undecided.
    EveryFile(LK_2_13::IValidatorCallback& inner, LK_2_13::confidence_level_t policy)
        : m_inner(inner), m_policy(policy) {}

    /// Forgets what was noted, before a search.
    void start() { m_noted.clear(); }

    /// How the file of that canonical name would have been accepted; empty if it was rejected.
    std::optional<LK_2_13::confidence_t> confidenceOf(std::string const& name) const;

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) override;

private:
    bool isOfPackedKernel(char const* fileName);

    LK_2_13::IValidatorCallback& m_inner;
    LK_2_13::confidence_level_t m_policy;
    std::map<std::string, LK_2_13::confidence_t> m_noted;
    std::set<std::string> m_unpacked; ///< Copies of packed kernels.
};

} // namespace lokata::cli
