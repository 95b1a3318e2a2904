#include "commands/index.h"

#include "console/failure.h"
#include "console/output.h"
#include "console/terminal.h"
#include "console/texts.h"
#include "search/search_options.h"

#include <lokata/profile/file_index.h>

#include <memory>
#include <string>
#include <vector>

namespace lokata::cli {
namespace {

struct IndexOptions {
    std::vector<std::string> trees;
    bool status = false;
    bool clear = false;
};

void fill(std::vector<std::string> const& trees, std::string const& index) {
    for (std::string const& tree : trees)
        requireDirectory("DIR", tree);
    ProgressLine progress;
    profile::IndexedTrees const result =
        profile::indexTrees(trees, index, [&progress](std::uint64_t done, std::uint64_t total) {
            progress.show(done, done, total);
        });
    progress.clear();
    if (!result.error.empty())
        throw Failure(result.error);
    writeOutput(
        textOf(Text::files_indexed, {std::to_string(result.files), std::to_string(result.read),
                                     std::to_string(result.with_id)}) +
        "\n");
}

void tell(std::string const& index) {
    profile::FileIndexStatus const status = profile::fileIndexStatus(index);
    if (!status.error.empty())
        throw Failure(status.error);
    writeOutput(
        pathLine(index) +
        textOf(Text::index_status, {std::to_string(status.entries), std::to_string(status.with_id),
                                    std::to_string(status.bytes)}) +
        "\n");
}

ExitStatus run(IndexOptions const& options) {
    std::string const index = profile::defaultFileIndex();
    if (index.empty())
        throw Failure(textOf(Text::index_missing));
    if (options.clear)
        if (std::string const error = profile::clearFileIndex(index); !error.empty())
            throw Failure(error);
    if (!options.trees.empty())
        fill(options.trees, index);
    if (options.status)
        tell(index);
    return ExitStatus::done;
}

} // namespace

void addIndexCommand(CLI::App& program, ExitStatus& exitStatus) {
    auto const options = std::make_shared<IndexOptions>();
    CLI::App& command = *program.add_subcommand(
        "index", "Read what the files of trees hold, so that resolve need not");
    addRepeatable(command, "DIR", options->trees, "A tree")->allow_extra_args()->type_name("");
    command.add_flag("--status", options->status,
                     "Print where the index lies, how many files it knows and its size");
    command.add_flag("--clear", options->clear, "Remove the index; a DIR begins a new one");
    command.require_option(1, 0);
    command.callback([options, &exitStatus] { exitStatus = run(*options); });
}

} // namespace lokata::cli
