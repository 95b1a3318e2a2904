#pragma once

#include "search/search_record.h"

#include <lokata2/validator.h>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lokata::cli {

/// What the command line says about the wanted file itself.
struct ValidationOptions {
    std::vector<std::string> expected;   ///< See `ValidatorSet::addExpected`.
    std::uint64_t modification_time = 0; ///< Seconds since the epoch.
    std::uint64_t size = 0;              ///< Bytes.
    std::string not_newer_than;
    std::vector<std::string> except_dirs;
};

void addValidationOptions(CLI::App& command, ValidationOptions& options);

/// Several validators as one: the first that rejects a file decides; otherwise the file is valid if
/// any of them says so.
class ValidatorSet : public LK_2_13::IValidatorCallback {
public:
    void add(std::unique_ptr<LK_2_13::IValidatorCallback> validator);
    /// Adds the validator for an expected content: "md5:", "sha1:" or, for a binary or its symbols,
    /// "build-id:" with its digits. Gives what is wrong with any other text, which adds nothing;
    /// empty if nothing is.
    std::string addExpected(std::string const& text, LK_2_13::search_category_t category);
    /// A symbol file is judged by its binary, if that is there and can be read.
    void addBinary(SearchRequest const& request);
    bool empty() const { return m_validators.empty(); }

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) override;

private:
    std::vector<std::unique_ptr<LK_2_13::IValidatorCallback>> m_validators;
};

/// All validators for a request. Throws `Failure` for options that do not go with its category.
ValidatorSet createValidators(ValidationOptions const& options, SearchRequest const& request);

} // namespace lokata::cli
