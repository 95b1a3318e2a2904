#include "search/validation_options.h"

#include "console/failure.h"
#include "search/expectation_validators.h"
#include "search/search_options.h"

#include <algorithm>
#include <cctype>

using namespace LK_2_13;

namespace lokata::cli {
namespace {

template <class Validator>
std::unique_ptr<Validator> withExceptions(std::unique_ptr<Validator> validator,
                                          std::vector<std::string> dirs) {
    for (std::string& dir : dirs)
        validator->addTimeCheckExceptionDir(dir);
    return validator;
}

} // namespace

void addValidationOptions(CLI::App& command, ValidationOptions& options) {
    addRepeatable(command, "--expect", options.checksums, "The checksum of the wanted file")
        ->type_name("md5:HEX|sha1:HEX");
    command
        .add_option("--expect-mtime", options.modification_time,
                    "The modification time of the wanted file")
        ->type_name("SECONDS");
    command.add_option("--expect-size", options.size, "The size of the wanted file")
        ->type_name("BYTES");
    addText(command, "--not-newer-than", options.not_newer_than,
            "Reject a source file that is newer than FILE")
        ->type_name("FILE")
        ->check(CLI::Validator(CLI::ExistingFile).description(""));
    addRepeatable(command, "--except-dir", options.except_dirs,
                  "Compare no times for files below this directory")
        ->type_name("DIR");
}

ObjectPtr<IChecksum> parseChecksum(std::string const& text) {
    struct Form {
        std::string prefix;
        checksum_type_t type;
        std::size_t digits;
    };
    for (Form const& form : {Form{"md5:", ctMd5, 32}, Form{"sha1:", ctSha1, 40}}) {
        std::string const value = text.substr(std::min(form.prefix.size(), text.size()));
        bool const isHex = std::all_of(value.begin(), value.end(),
                                       [](unsigned char c) { return std::isxdigit(c) != 0; });
        if (text.compare(0, form.prefix.size(), form.prefix) == 0 && isHex &&
            value.size() == form.digits)
            return IChecksumCalculator::create()->fromString(form.type, value.c_str());
    }
    return nullptr;
}

void ValidatorSet::add(std::unique_ptr<IValidatorCallback> validator) {
    m_validators.push_back(std::move(validator));
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

ValidatorSet makeValidators(ValidationOptions const& options, search_category_t category) {
    if (!options.not_newer_than.empty() && category != scSourceFiles)
        throw Failure("--not-newer-than: only source files are compared with another file's time");

    ValidatorSet validators;
    for (std::string const& text : options.checksums) {
        auto const expected = parseChecksum(text);
        if (!expected)
            throw Failure("--expect: \"" + text +
                          "\" is not md5: with 32 or sha1: with 40 hexadecimal digits");
        validators.add(std::make_unique<ExpectedChecksum>(category, expected));
    }
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
