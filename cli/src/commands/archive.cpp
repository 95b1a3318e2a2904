#include "commands/archive.h"

#include "console/failure.h"
#include "console/output.h"
#include "search/context_chain.h"
#include "search/enumerator_names.h"
#include "search/search_options.h"

#include <lokata2/checksum.h>
#include <lokata2/utils.h>

#include <memory>

using namespace LK_2_13;

namespace lokata::cli {
namespace {

struct ArchiveOptions {
    std::string file;
    std::string into;
    std::string category = "all";
    SearchOptions contexts;
};

void check(archive_result_t result, ArchiveOptions const& options) {
    switch (result) {
    case afOk:
    case afAlreadyArchived:
        return;
    case afNoChecksum:
        throw Failure(options.file + ": cannot be read to its end");
    case afDirectoryError:
        throw Failure(options.file + ": a directory of the archive cannot be made" +
                      (options.into.empty() ? "" : " in " + options.into));
    case afCopyFailed:
        throw Failure(options.file + ": cannot be copied into the archive");
    case afNoArchiveDir:
        throw Failure("--context: none of the contexts has an archive");
    case afNoCalculator:
        break;
    }
    throw Failure(options.file + ": its checksum cannot be computed");
}

// The library puts the file into the nearest archive and does not tell which one that is. The
// environment of the same context lists the archives, nearest first.
std::string placeInNearestArchive(ContextChain const& chain, search_category_t category,
                                  std::string const& file) {
    auto const archives =
        chain.manager().createSearchEnv(*chain.nearest(), nullptr, nullptr)->archiveDirs(category);
    char const* directory = nullptr;
    bool recursive = false;
    bool priority = false;
    auto const checksum = IChecksumCalculator::create()->calculateChecksum(file.c_str(), ctMd5);
    if (!archives || !archives->getCurrentRecord(directory, recursive, priority) || !checksum)
        throw Failure(file + ": was archived, but has changed or gone since");
    std::string const name = utils::getFileNameOnly(file.c_str());
    std::string path = directory;
    for (std::string const& part : {name, std::string(checksum->value()), name})
        path = utils::addSubPart(path.c_str(), part.c_str());
    return path;
}

int archive(ArchiveOptions const& options) {
    search_category_t const category = *categoryOfWord(options.category);
    std::string path;
    if (!options.into.empty()) {
        check(utils::archiveFile(options.file.c_str(), options.into.c_str(),
                                 archiveWordOf(category), path, false),
              options);
    } else if (!options.contexts.contexts.empty() || !options.contexts.result_dir.empty()) {
        ContextChain const chain(options.contexts);
        check(chain.manager().archiveFile(*chain.nearest(), options.file.c_str(), category),
              options);
        path = placeInNearestArchive(chain, category, options.file);
    } else {
        throw Failure("archive: --into, --context or --result is required");
    }
    writeOutput(pathLine(path));
    return esDone;
}

} // namespace

void addArchiveCommand(CLI::App& program, int& exitStatus) {
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
    command
        .add_option("--category", options->category,
                    "The kind of the file: bin, sym, src or all (default all)")
        ->type_name("WORD")
        ->check(CLI::IsMember({"bin", "sym", "src", "all"}).description(""));
    addContextOptions(command, options->contexts);
    into->excludes("--context")->excludes("--result");
    command.callback([options, &exitStatus] { exitStatus = archive(*options); });
}

} // namespace lokata::cli
