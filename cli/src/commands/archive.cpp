#include "commands/archive.h"

#include "console/failure.h"
#include "console/output.h"
#include "console/texts.h"
#include "search/choice.h"
#include "search/context_chain.h"
#include "search/enumerator_names.h"
#include "search/search_options.h"

#include <lokata/profile/archive.h>

#include <filesystem>
#include <memory>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

struct ArchiveOptions {
    std::string file;
    std::string into;
    search_category_t category = scAllFiles;
    SearchOptions contexts;
};

/// As the library's own archiving chooses it: that of the nearest context which has one. The
/// environment of the context lists the archives' directories for a category, nearest first.
std::string nearestArchive(ContextChain const& chain, search_category_t category) {
    auto const archives =
        chain.manager().createSearchEnv(*chain.nearest(), nullptr, nullptr)->archiveDirs(category);
    char const* directory = nullptr;
    bool recursive = false;
    bool priority = false;
    if (!archives || !archives->getCurrentRecord(directory, recursive, priority))
        throw Failure(textOf(Text::no_archive_in_contexts));
    return std::filesystem::path(directory).parent_path().string();
}

ExitStatus archive(ArchiveOptions const& options) {
    std::string into = options.into;
    if (into.empty() && options.contexts.contexts.empty() && options.contexts.result_dir.empty())
        throw Failure(textOf(Text::archive_target_missing));
    if (into.empty())
        into = nearestArchive(ContextChain(options.contexts), options.category);
    profile::ArchivedFile const archived =
        profile::archiveFile(options.file, into, options.category);
    if (archived.path.empty())
        throw Failure(archived.error);
    writeOutput(pathLine(archived.path));
    return ExitStatus::done;
}

} // namespace

void addArchiveCommand(CLI::App& program, ExitStatus& exitStatus) {
    auto const options = std::make_shared<ArchiveOptions>();
    options->contexts.no_user = true;
    CLI::App& command =
        *program.add_subcommand("archive", "Copy a file into an archive and print its place there");
    command.add_option("FILE", options->file, "The file to keep")
        ->required()
        ->type_name(" ")
        ->check(CLI::Validator(CLI::ExistingFile).description(""));
    CLI::Option* const into =
        addText(command, "--into", options->into, "The archive, made if it is missing")
            ->type_name("DIR");
    addChoice(command, "--category", options->category, c_categoryWords,
              "The kind of the file: " + anyWordOf(c_categoryWords))
        ->type_name("WORD");
    addContextOptions(command, options->contexts);
    into->excludes("--context")->excludes("--result");
    command.callback([options, &exitStatus] { exitStatus = archive(*options); });
}

} // namespace lokata::cli
