#include "commands/find.h"

#include "commands/find_output.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/terminal.h"
#include "console/texts.h"
#include "search/choice.h"
#include "search/enumerator_names.h"
#include "search/search_options.h"
#include "search/search_session.h"
#include "search/validation_options.h"

#include <memory>

#include <unistd.h>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

struct FindOptions {
    SearchRequest request;
    SearchOptions search;
    ValidationOptions validation;
    bool all = false;
    bool explain = false;
    bool json = false;
};

ExitStatus find(FindOptions& options) {
    SearchRequest& request = options.request;
    if (request.category == scBinaryFiles && !request.binary.empty())
        throw Failure("--binary: " + textOf(Text::binary_of_binary));

    ValidatorSet validators = createValidators(options.validation, request);
    if (!options.validation.expected.empty())
        request.checksum = options.validation.expected.front();

    SearchSession session(options.search, History::off);
    SearchRecord const record =
        session.find(request, validators.empty() ? nullptr : &validators, options.all);
    if (options.explain) {
        std::string const text =
            explanation(record, session.places(request), wantsColour(STDERR_FILENO));
        std::fwrite(text.data(), 1, text.size(), stderr);
    } else if (record.found.empty()) {
        reportError(whereItLooked(record, session.places(request)));
    }
    if (options.json)
        writeOutput(jsonLine(record));
    else if (options.all)
        writeOutput(foundPaths(record));
    else if (!record.found.empty())
        writeOutput(pathLine(record.found.front().path));
    return record.found.empty() ? ExitStatus::not_found : ExitStatus::done;
}

} // namespace

void addFindCommand(CLI::App& program, ExitStatus& exitStatus) {
    auto const options = std::make_shared<FindOptions>();
    CLI::App& command =
        *program.add_subcommand("find", "Find the file that belongs to a recorded name");
    addChoice(command, "CATEGORY", options->request.category, c_fileCategoryWords,
              anyWordOf(c_fileCategoryWords) + ": what kind of file")
        ->required()
        ->type_name(" ");
    addText(command, "NAME", options->request.name, "The name as it was recorded")
        ->required()
        ->type_name(" ");
    addText(command, "--binary", options->request.binary,
            "The binary that the symbol or source file belongs to")
        ->type_name("FILE");
    addText(command, "--suggest", options->request.suggestion, "A path to try before all others")
        ->type_name("PATH");
    command.add_flag("--all", options->all, "Run all steps and print what each of them finds");
    command.add_flag("--explain", options->explain,
                     "Say on standard error what was found and what was rejected, and why");
    command.add_flag("--json", options->json, "Print one JSON object");
    addSearchOptions(command, options->search);
    addValidationOptions(command, options->validation);
    command.callback([options, &exitStatus] { exitStatus = find(*options); });
}

} // namespace lokata::cli
