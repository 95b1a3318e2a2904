#include "search/validation_options.h"

#include "console/failure.h"
#include "console/texts.h"
#include "search/expectation_validators.h"
#include "search/search_options.h"

#include <lokata/profile/identity_validators.h>

#include <lokata2/checksum.h>
#include <toolbelt2/hex.h>
#include <toolbelt2/text.h>

#include <algorithm>
#include <array>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

using toolbelt2::starts_with;

struct ChecksumForm {
    std::string_view prefix;
    checksum_type_t type;
    std::size_t digits;
};

constexpr std::array<ChecksumForm, 2> c_checksumForms{{{"md5:", ctMd5, 32}, {"sha1:", ctSha1, 40}}};
constexpr std::string_view c_buildIdPrefix = "build-id:";

ObjectPtr<IChecksum> parseChecksum(std::string_view text) {
    for (ChecksumForm const& form : c_checksumForms) {
        std::string const value(text.substr(std::min(form.prefix.size(), text.size())));
        if (starts_with(text, form.prefix) && value.size() == form.digits &&
            toolbelt2::from_hex(value))
            return IChecksumCalculator::create()->fromString(form.type, value.c_str());
    }
    return nullptr;
}

template <class Validator>
std::unique_ptr<Validator> withExceptions(std::unique_ptr<Validator> validator,
                                          std::vector<std::string> dirs) {
    for (std::string& dir : dirs)
        validator->addTimeCheckExceptionDir(dir);
    return validator;
}

} // namespace

void addValidationOptions(CLI::App& command, ValidationOptions& options) {
    addRepeatable(command, "--expect", options.expected,
                  "The checksum of the wanted file, or the build-id of a binary or its symbols")
        ->type_name("md5:HEX|sha1:HEX|build-id:HEX");
    command
        .add_option("--expect-mtime", options.modification_time,
                    "The modification time of the wanted file")
        ->type_name("SECONDS")
        ->check(positiveNumber());
    command.add_option("--expect-size", options.size, "The size of the wanted file")
        ->type_name("BYTES")
        ->check(positiveNumber());
    addText(command, "--not-newer-than", options.not_newer_than,
            "Reject a source file that is newer than FILE")
        ->type_name("FILE")
        ->check(CLI::Validator(CLI::ExistingFile).description(""));
    addRepeatable(command, "--except-dir", options.except_dirs,
                  "Compare no times for files below this directory")
        ->type_name("DIR");
}

void ValidatorSet::add(std::unique_ptr<IValidatorCallback> validator) {
    m_validators.push_back(std::move(validator));
}

std::string ValidatorSet::addExpected(std::string const& text, search_category_t category) {
    profile::BuildId buildId;
    if (starts_with(text, c_buildIdPrefix) && category != scSourceFiles)
        buildId = profile::buildIdFromHex(text.substr(c_buildIdPrefix.size()));
    if (auto const checksum = parseChecksum(text))
        add(std::make_unique<ExpectedChecksum>(category, checksum));
    else if (buildId.empty())
        return textOf(Text::expected_form, {text});
    else
        add(category == scBinaryFiles ? profile::createBinaryValidator(buildId)
                                      : profile::createSymbolValidator(buildId));
    return {};
}

void ValidatorSet::addBinary(SearchRequest const& request) {
    if (request.category != scSymbolFiles || request.binary.empty())
        return;
    if (auto validator = profile::createSymbolValidatorFor(request.binary))
        add(std::move(validator));
}

validation_result_t ValidatorSet::validate(char const* fileName, IErrorInfoContainer& errorInfo) {
    validation_result_t verdict = vrUndecided;
    for (auto const& validator : m_validators) {
        validation_result_t const answer = validator->validate(fileName, errorInfo);
        if (answer == vrInvalid)
            return vrInvalid;
        if (answer == vrValid)
            verdict = vrValid;
    }
    return verdict;
}

ValidatorSet createValidators(ValidationOptions const& options, SearchRequest const& request) {
    if (!options.not_newer_than.empty() && request.category != scSourceFiles)
        throw Failure(textOf(Text::only_sources_have_time));

    for (std::string const& directory : options.except_dirs)
        warnOfMissingDirectory("--except-dir", directory);

    ValidatorSet validators;
    for (std::string const& text : options.expected)
        if (std::string const fault = validators.addExpected(text, request.category);
            !fault.empty())
            throw Failure("--expect: " + fault);
    validators.addBinary(request);
    if (options.modification_time != 0 || options.size != 0)
        validators.add(withExceptions(
            std::make_unique<ExpectedTimeAndSize>(options.modification_time, options.size),
            options.except_dirs));
    if (!options.not_newer_than.empty())
        validators.add(withExceptions(std::make_unique<NotNewerThan>(options.not_newer_than),
                                      options.except_dirs));
    return validators;
}

} // namespace lokata::cli
