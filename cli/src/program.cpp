#include "program.h"

#include "commands/archive.h"
#include "commands/checksum.h"
#include "commands/dirs.h"
#include "commands/find.h"
#include "commands/index.h"
#include "commands/resolve.h"
#include "commands/run.h"
#include "commands/unpack_kernel.h"
#include "console/failure.h"
#include "console/log_output.h"
#include "console/output.h"
#include "console/texts.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <csignal>
#include <sstream>
#include <string>
#include <vector>

namespace lokata::cli {
namespace {

/// The arguments, last one first, as CLI11 takes them. It reads a text in square brackets as a list
/// where several values may stand, so a file with such a name gets its directory in front.
std::vector<std::string> reversedArguments(int argc, char const* const* argv) {
    std::vector<std::string> arguments;
    bool isChecksum = false;
    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i];
        if (isChecksum && argument.size() > 1 && argument.front() == '[' && argument.back() == ']')
            argument.insert(0, "./");
        isChecksum = isChecksum || argument == "checksum";
        arguments.push_back(std::move(argument));
    }
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

ExitStatus runCommandLine(int argc, char const* const* argv) {
    CLI::App program("Finds the files that belong to the module names of a profile.\n"
                     "Exit status: 0 found or done, 1 not found, 2 wrong usage or a failure.",
                     "lokata");
    ExitStatus exitStatus = ExitStatus::done;
    int verbosity = 0;
    program.set_version_flag("--version", "lokata " LOKATA_VERSION);
    program.add_flag("-v", verbosity,
                     "Show the log of the libraries on standard error; -vv shows more");
    program.require_subcommand(1);
    program.fallthrough();
    program.parse_complete_callback([&verbosity] { showLog(verbosity); });

    addFindCommand(program, exitStatus);
    addRunCommand(program, exitStatus);
    addResolveCommand(program, exitStatus);
    addArchiveCommand(program, exitStatus);
    addChecksumCommand(program, exitStatus);
    addDirsCommand(program, exitStatus);
    addIndexCommand(program, exitStatus);
    addUnpackKernelCommand(program, exitStatus);

    try {
        program.parse(reversedArguments(argc, argv));
    } catch (CLI::Success const& help) {
        std::ostringstream text;
        program.exit(help, text, text);
        writeOutput(text.str());
    } catch (CLI::ParseError const& error) {
        std::vector<std::string> const unknown = program.remaining();
        if (program.get_subcommands().empty() && !unknown.empty())
            throw Failure(textOf(Text::unknown_word, {unknown.front()}));
        throw Failure(textOf(Text::wrong_usage, {error.what()}));
    }
    return exitStatus;
}

} // namespace

ExitStatus runProgram(int argc, char const* const* argv) {
    // A reader that goes away, and a file that grows beyond a limit, shall show as a failed write,
    // with its exit status.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        return runCommandLine(argc, argv);
    } catch (std::exception const& error) {
        reportError(error.what());
        return ExitStatus::failed;
    }
}

} // namespace lokata::cli
