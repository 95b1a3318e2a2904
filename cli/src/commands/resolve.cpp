#include "commands/resolve.h"

#include "commands/resolve_explain.h"
#include "commands/resolve_sources.h"
#include "commands/resolve_summary.h"
#include "commands/resolve_table.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/terminal.h"
#include "console/text_layout.h"
#include "console/texts.h"
#include "search/choice.h"
#include "search/search_options.h"
#include "search/search_setup.h"
#include "search/tool_caches.h"

#include <lokata/profile/archive.h>
#include <lokata/profile/file_index.h>
#include <lokata/profile/process.h>
#include <lokata/profile/read.h>
#include <lokata/profile/report.h>
#include <lokata/profile/resolver.h>
#include <toolbelt2/pending_file.h>
#include <toolbelt2/sink_buffer.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

#include <unistd.h>

namespace lokata::cli {
namespace {

constexpr char c_defaultInput[] = "perf.data";

struct ResolveOptions {
    std::vector<std::string> inputs;
    std::vector<std::uint32_t> processes;
    std::string format;
    SearchOptions search;
    std::vector<std::string> debug_dirs;
    std::string sysroot;
    std::string symfs;
    std::vector<std::string> substitutions;
    bool no_learned_paths = false;
    std::vector<std::string> scan_dirs;
    bool no_scan = false;
    /// Empty without --sources; one that is empty itself stands for all of them.
    std::vector<std::string> sources;
    std::string archive_into;
    bool json = false;
    std::string html;
    std::vector<std::string> explain;
    VerdictScope scope;
    bool all = false;
    std::size_t jobs = std::max(1U, std::thread::hardware_concurrency());
};

profile::PlaceOptions placesOf(ResolveOptions const& options) {
    profile::PlaceOptions places;
    if (!options.debug_dirs.empty())
        places.debug_dirs.clear();
    for (std::string const& list : options.debug_dirs)
        profile::addDebugDirs(places.debug_dirs, list);
    if (!options.debug_dirs.empty())
        for (std::string const& directory : places.debug_dirs)
            warnOfMissingDirectory("--debug-file-directory", directory);
    requireDirectory("--sysroot", options.sysroot);
    places.sysroot = options.sysroot;
    places.learn_paths = !options.no_learned_paths;
    if (!options.symfs.empty() && !profile::parseSymfs(options.symfs, places))
        throw Failure(textOf(Text::symfs_form, {options.symfs}));
    requireDirectory("--symfs", places.symfs);
    for (std::string const& text : options.substitutions) {
        auto const substitution = profile::parsePathSubstitution(text);
        if (!substitution)
            throw Failure(textOf(Text::substitution_form, {text}));
        warnOfMissingDirectory("--substitute-path", substitution->to);
        places.substitutions.push_back(*substitution);
    }
    for (std::string const& directory : options.scan_dirs)
        warnOfMissingDirectory("--scan", directory);
    places.scan.dirs = options.scan_dirs;
    places.scan.is_on = !options.no_scan;
    if (places.scan.is_on)
        places.scan.index = profile::defaultFileIndex();
    places.scan.warn = reportWarning;
    places.perf_cache = perfCacheDirectory();
    places.debuginfod_cache = debuginfodCacheDirectory();
    return places;
}

struct Input {
    std::string name;
    std::uint32_t process = 0; ///< 0 for a file.
};

std::vector<Input> inputsOf(ResolveOptions const& options) {
    std::vector<Input> inputs;
    for (std::string const& file : options.inputs)
        inputs.push_back({file});
    for (std::uint32_t const process : options.processes)
        inputs.push_back({"/proc/" + std::to_string(process) + "/maps", process});
    if (inputs.empty())
        inputs.push_back({c_defaultInput});
    return inputs;
}

std::string shownInput(std::string const& input) {
    return input == "-" ? textOf(Text::standard_input) : input;
}

/// What can be read of an input. Damage is reported and leaves the rest.
profile::Profile read(Input const& input, std::string const& format) {
    profile::ReadOptions options;
    options.format = format;
    profile::Profile profile = input.process == 0 ? profile::readProfileFile(input.name, options)
                                                  : profile::readProcess(input.process);
    std::string const name = shownInput(input.name);
    for (profile::ReadError const& error : profile.errors)
        reportError((error.offset == 0
                         ? name
                         : textOf(Text::at_byte, {name, std::to_string(error.offset)})) +
                    ": " + error.message);
    if (profile.format.empty() && profile.errors.empty())
        reportError(textOf(Text::unknown_format, {name}));
    return profile;
}

/// A list of each module that was named, or else the counts of all. False if nothing was written.
bool writeSources(std::ostream& out, profile::ProfileResolution const& resolution,
                  std::vector<std::string> const& modules, TableStyle const& style) {
    std::ostringstream text;
    bool isNamed = false;
    for (std::string const& module : modules) {
        if (module.empty())
            continue;
        text << (isNamed ? "\n" : "");
        isNamed = true;
        if (!writeSourcesOf(text, resolution, module, style))
            throw Failure(textOf(Text::no_such_module, {shownInput(resolution.input), module}));
    }
    if (!isNamed && !writeSourceTable(text, resolution, style))
        return false;
    out << "\n" << text.str();
    return true;
}

void printTables(std::ostream& out, profile::ProfileResolution const& resolution,
                 std::string const& title, ResolveOptions const& options, bool colour) {
    out << title;
    TableStyle const style{isTerminal(STDOUT_FILENO) ? terminalWidth(STDOUT_FILENO) : 0, colour,
                           options.all};
    bool isAny = !title.empty();
    isAny = writeModuleTable(out, resolution, style) || isAny;
    isAny = writeSources(out, resolution, options.sources, style) || isAny;
    out << (isAny ? "\n" : "");
    std::istringstream summary(resolutionSummary(resolution, options.scope));
    for (std::string line; std::getline(summary, line);)
        out << wrapped(line, 0, style.width) << "\n";
}

/// False if something that is to be explained is not there.
bool explain(profile::ProfileResolution const& resolution, std::string const& title,
             std::vector<std::string> const& wanted, LK_2_13::ISearchEnv& environment,
             bool colour) {
    std::string text = title;
    std::vector<std::string> missing;
    for (std::string const& each : wanted) {
        std::string const part = explanation(resolution, each, environment, colour);
        if (part.empty())
            missing.push_back(each);
        else
            text += (text == title ? "" : "\n") + part;
    }
    if (missing.size() < wanted.size())
        writeOutput(text);
    for (std::string const& each : missing)
        reportError(textOf(Text::nothing_to_explain, {shownInput(resolution.input), each}));
    return missing.empty();
}

/// False if not all that was asked for is there to be printed.
bool print(profile::ProfileResolution const& resolution, ResolveOptions const& options,
           LK_2_13::ISearchEnv& environment) {
    if (options.json) {
        toolbelt2::write_in_blocks(writeOutput, [&](std::ostream& out) {
            profile::writeJson(out, resolution);
            out << "\n";
        });
        return true;
    }
    bool const colour = wantsColour(STDOUT_FILENO);
    bool const isOneOfSeveral = options.inputs.size() + options.processes.size() > 1;
    std::string const title =
        isOneOfSeveral ? profile::displayName(shownInput(resolution.input)) + ":\n" : "";
    if (!options.explain.empty())
        return explain(resolution, title, options.explain, environment, colour);
    toolbelt2::write_in_blocks(writeOutput, [&](std::ostream& out) {
        printTables(out, resolution, title, options, colour);
    });
    return true;
}

/// False if a file could not be kept. The inputs behind this one are resolved all the same.
bool archive(profile::ProfileResolution const& resolution, std::string const& directory) {
    profile::ArchiveOutcome const outcome = profile::archiveFiles(resolution, directory);
    for (std::string const& error : outcome.errors)
        reportError(error);
    if (outcome.errors.empty())
        return true;
    std::size_t const count = outcome.errors.size();
    reportError(
        textOf(count == 1 ? Text::file_not_archived : Text::not_archived, {std::to_string(count)}));
    return false;
}

void writePage(std::vector<profile::ProfileResolution> const& resolutions,
               std::string const& file) try {
    toolbelt2::pending_file_t page(file);
    toolbelt2::write_in_blocks([&page](std::string_view bytes) { page.write(bytes); },
                               [&](std::ostream& out) { profile::writeHtml(out, resolutions); });
    page.commit();
} catch (std::system_error const& error) {
    throw Failure(textOf(Text::not_written, {file, error.code().message()}));
}

profile::ProfileResolution resolve(profile::Resolver& resolver, profile::Profile profile,
                                   std::string const& input, bool withSources) {
    ProgressLine progress;
    auto const show = [&progress](std::size_t done, std::size_t total) {
        progress.show(done, done, total);
        return true;
    };
    profile::ProfileResolution resolution = resolver.resolve(std::move(profile), input, show);
    if (withSources)
        resolver.findSources(resolution, show);
    return resolution;
}

std::string helpOfInput() {
    std::string help = "A profile: ";
    for (profile::FormatName const& format : profile::formats())
        help.append(format.description).append(", ");
    return help + "packed or not; - is standard input";
}

std::vector<std::string> formatWords() {
    std::vector<std::string> words;
    for (profile::FormatName const& format : profile::formats())
        words.emplace_back(format.word);
    return words;
}

ExitStatus resolve(ResolveOptions const& options) {
    SearchSetup const setup(options.search);
    auto const environment = setup.environment(options.search.kernel_release);
    profile::Resolver resolver(environment, placesOf(options));
    resolver.setThreads(options.jobs);

    ExitStatus status = ExitStatus::done;
    std::vector<profile::ProfileResolution> resolutions;
    for (Input const& input : inputsOf(options)) {
        profile::Profile profile = read(input, options.format);
        bool const isUnreadable = profile.modules.empty() && !profile.errors.empty();
        if (profile.format.empty() || isUnreadable)
            status = ExitStatus::failed;
        if (profile.format.empty() && !options.json)
            continue;
        profile::ProfileResolution resolution =
            resolve(resolver, std::move(profile), input.name, !options.sources.empty());
        if (!isComplete(resolution, options.scope))
            status = std::max(status, ExitStatus::not_found);
        if (!print(resolution, options, *environment))
            status = ExitStatus::failed;
        if (resolution.profile.format.empty())
            continue;
        if (!options.archive_into.empty() && !archive(resolution, options.archive_into))
            status = ExitStatus::failed;
        if (!options.html.empty())
            resolutions.push_back(std::move(resolution));
    }
    if (!options.html.empty())
        writePage(resolutions, options.html);
    return status;
}

void addPlaceOptions(CLI::App& command, ResolveOptions& options) {
    addRepeatable(command, "--debug-file-directory", options.debug_dirs,
                  "Trees of separate debug files, with colons between them")
        ->type_name("DIR[:DIR]...")
        ->default_str(profile::PlaceOptions().debug_dirs.front());
    addText(command, "--sysroot", options.sysroot, "The root of a copied file system")
        ->type_name("DIR");
    addText(command, "--symfs", options.symfs,
            "A copied tree, or with ,flat one directory with all files")
        ->type_name("DIR[,flat|hierarchy]");
    addRepeatable(command, "--substitute-path", options.substitutions,
                  "Try names below FROM below TO as well")
        ->type_name("FROM=TO");
    command.add_flag("--no-learned-paths", options.no_learned_paths,
                     "Do not apply renamed prefixes that proven files teach to what is missing");
    CLI::Option* const scan =
        addRepeatable(command, "--scan", options.scan_dirs,
                      "Look into all files of this tree, too, for what only its build-id tells")
            ->type_name("DIR");
    command
        .add_flag("--no-scan", options.no_scan,
                  "Do not look into the files of recursive search directories")
        ->excludes(scan);
}

/// A value stands behind an equals sign only, so that an input may follow.
void addSourcesOption(CLI::App& command, std::vector<std::string>& sources) {
    command
        .add_option("--sources", sources,
                    "Find the source files too that the modules name, and count them by directory; "
                    "as --sources=MODULE list those of a module, with the reasons")
        ->expected(0, 0)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("");
}

} // namespace

void addResolveCommand(CLI::App& program, ExitStatus& exitStatus) {
    auto const options = std::make_shared<ResolveOptions>();
    CLI::App& command = *program.add_subcommand(
        "resolve", "Find the files of the modules in recorded profiles, and prove them");
    CLI::Option* const input = addRepeatable(command, "INPUT", options->inputs, helpOfInput())
                                   ->allow_extra_args()
                                   ->type_name("")
                                   ->default_str(c_defaultInput);
    command
        .add_option("--pid", options->processes,
                    "A running process instead of an input: what it has mapped, with the build-ids "
                    "of these very files")
        ->allow_extra_args(false)
        ->type_name("PID")
        ->check(positiveNumber())
        ->excludes(input);
    command
        .add_option("--format", options->format,
                    "What the inputs are, instead of what their content says")
        ->type_name(CLI::detail::join(formatWords(), "|"))
        ->check(CLI::IsMember(formatWords()).description(""));
    addPlaceOptions(command, *options);
    addSourcesOption(command, options->sources);
    addText(command, "--archive-into", options->archive_into,
            "Copy all files found into an archive, for --archive on another machine")
        ->type_name("DIR");
    CLI::Option* const json =
        command.add_flag("--json", options->json, "Print one JSON document for each input");
    addText(command, "--html", options->html, "Write a page for a browser")->type_name("FILE");
    addRepeatable(command, "--explain", options->explain,
                  "Show every step and candidate for the modules, or with --sources the source "
                  "files, of this name or a part of it, or of a build-id that begins so")
        ->type_name("TEXT")
        ->excludes(json);
    addChoice(command, "--require", options->scope.requirement, c_requirements,
              "What each module must have for the exit status 0: its file, names of functions, or "
              "all lines")
        ->default_str(std::string(profile::wordOf(c_requirements, Requirement::file)));
    command.add_flag("--user-only", options->scope.user_only,
                     "Leave the kernel and its modules out of the count");
    command.add_flag("--all", options->all, "List modules without samples, too")->excludes(json);
    constexpr std::size_t c_mostJobs = 256;
    command
        .add_option("--jobs", options->jobs,
                    "How many threads search, else one for each core; the answers are the same")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, c_mostJobs).description(""));
    addSearchOptions(command, options->search);
    command.callback([options, &exitStatus] { exitStatus = resolve(*options); });
}

} // namespace lokata::cli
