#include "commands/checksum.h"

#include "console/failure.h"
#include "console/output.h"
#include "console/texts.h"

#include <lokata2/checksum.h>

#include <cerrno>
#include <fstream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

struct ChecksumOptions {
    bool sha1 = false;
    std::vector<std::string> files;
};

/// A name with a backslash, a newline or a carriage return is escaped, and the line says so with a
/// backslash in front, as md5sum of GNU coreutils does it.
std::string checksumLine(std::string const& digest, std::string const& name) {
    std::string escaped;
    for (char const c : name)
        if (c == '\\')
            escaped += "\\\\";
        else if (c == '\n')
            escaped += "\\n";
        else if (c == '\r')
            escaped += "\\r";
        else
            escaped += c;
    return (escaped == name ? "" : "\\") + digest + "  " + escaped + "\n";
}

std::string whyUnreadable(std::string const& file) {
    errno = 0;
    std::ifstream input(file, std::ios::binary);
    input.get();
    return errno != 0 ? std::generic_category().message(errno) : textOf(Text::unread_to_end);
}

ExitStatus checksum(ChecksumOptions const& options) {
    auto const calculator = IChecksumCalculator::create();
    ExitStatus status = ExitStatus::done;
    for (std::string const& name : options.files) {
        std::string const file = name == "-" ? "/dev/stdin" : name;
        auto const sum = calculator->calculateChecksum(file.c_str(), options.sha1 ? ctSha1 : ctMd5);
        if (sum) {
            writeOutput(checksumLine(sum->value(), name));
        } else {
            reportError(name + ": " + whyUnreadable(file));
            status = ExitStatus::failed;
        }
    }
    return status;
}

} // namespace

void addChecksumCommand(CLI::App& program, ExitStatus& exitStatus) {
    auto const options = std::make_shared<ChecksumOptions>();
    CLI::App& command =
        *program.add_subcommand("checksum", "Print the MD5 checksums of files, as md5sum does");
    command.add_flag("--sha1", options->sha1, "SHA-1 instead of MD5, as sha1sum does");
    command.add_option("FILE", options->files, "The files; - is standard input")
        ->required()
        ->type_name(" ");
    command.callback([options, &exitStatus] { exitStatus = checksum(*options); });
}

} // namespace lokata::cli
