#include "commands/run.h"

#include "commands/find_output.h"
#include "commands/run_request_file.h"
#include "commands/run_request_line.h"
#include "console/ending.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/terminal.h"
#include "search/choice.h"
#include "search/enumerator_names.h"
#include "search/search_options.h"
#include "search/search_session.h"
#include "search/validation_options.h"

#include <lokata/profile/profile.h>

#include <algorithm>
#include <memory>

namespace lokata::cli {
namespace {

struct RunOptions {
    std::string file;
    History history = History::suggest;
    bool json = false;
    SearchOptions search;
};

/// Category, name and path, with tabs between them and "-" for the path of a file not found. Names
/// with a tab or a newline must not make other fields and lines.
std::string resultLine(SearchRecord const& record) {
    return std::string(profile::wordOf(c_fileCategoryWords, record.category)) + "\t" +
           profile::displayName(record.name) + "\t" +
           (record.found.empty() ? "-" : profile::displayName(record.found.front().path)) + "\n";
}

SearchRecord search(SearchSession& session, SearchRequest const& request) {
    ValidatorSet validators;
    if (!request.checksum.empty())
        if (std::string const fault = validators.addExpected(request.checksum, request.category);
            !fault.empty())
            throw MalformedLine(fault);
    validators.addBinary(request);
    return session.find(request, validators.empty() ? nullptr : &validators, false);
}

ExitStatus run(RunOptions const& options) {
    SearchSession session(options.search, options.history);
    RequestFile file(options.file);
    InterruptGuard const guard;
    ProgressLine progress;
    std::uint64_t requests = 0;
    ExitStatus status = ExitStatus::done;
    std::string line;
    while (!InterruptGuard::isInterrupted() && file.next(line)) {
        try {
            auto const request = parseRequestLine(line);
            if (!request)
                continue;
            SearchRecord const record = search(session, *request);
            if (record.found.empty())
                status = std::max(status, ExitStatus::not_found);
            progress.clear();
            writeOutput(options.json ? jsonLine(record) : resultLine(record));
        } catch (MalformedLine const& error) {
            progress.clear();
            reportError(file.place() + ": " + error.text);
            status = ExitStatus::failed;
        }
        progress.show(++requests, file.bytesRead(), file.size());
    }
    return InterruptGuard::isInterrupted() ? ExitStatus::interrupted : status;
}

} // namespace

void addRunCommand(CLI::App& program, ExitStatus& exitStatus) {
    auto const options = std::make_shared<RunOptions>();
    CLI::App& command = *program.add_subcommand("run", "Run many searches, one for each line");
    addText(command, "FILE", options->file,
            "Lines such as \"bin NAME\", \"sym NAME BINARY [CHECKSUM]\" or JSON objects; - is "
            "standard input")
        ->required()
        ->type_name(" ");
    addChoice(command, "--history", options->history, c_histories,
              "What becomes of a request that comes again: off searches again, suggest tries the "
              "earlier answer first, only tries nothing else");
    command.add_flag("--json", options->json, "Print one JSON object for each request");
    addSearchOptions(command, options->search);
    command.callback([options, &exitStatus] { exitStatus = run(*options); });
}

} // namespace lokata::cli
