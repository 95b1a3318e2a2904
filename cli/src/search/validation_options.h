#pragma once

#include <lokata2/checksum.h>
#include <lokata2/validator.h>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lokata::cli {

/// What the command line says about the wanted file itself.
struct ValidationOptions {
    std::vector<std::string> checksums;  ///< md5:HEX or sha1:HEX
    std::uint64_t modification_time = 0; ///< seconds since the epoch
    std::uint64_t size = 0;              ///< bytes
    std::string not_newer_than;
    std::vector<std::string> except_dirs;
};

void addValidationOptions(CLI::App& command, ValidationOptions& options);

/// The checksum of a text such as "md5:HEX"; null if the text has another form.
LK_2_13::ObjectPtr<LK_2_13::IChecksum> parseChecksum(std::string const& text);

/// Several validators as one: the first that rejects a file decides; otherwise the file is valid if
/// any of them says so.
class ValidatorSet : public LK_2_13::IValidatorCallback {
public:
    void add(std::unique_ptr<LK_2_13::IValidatorCallback> validator);
    bool empty() const { return m_validators.empty(); }

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) override;

private:
    std::vector<std::unique_ptr<LK_2_13::IValidatorCallback>> m_validators;
};

/// The validators for files of a category. Throws `Failure` for options that do not go with it.
ValidatorSet makeValidators(ValidationOptions const& options, LK_2_13::search_category_t category);

} // namespace lokata::cli
