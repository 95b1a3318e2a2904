#include "search/search_options.h"

#include "console/failure.h"
#include "console/output.h"
#include "console/texts.h"
#include "search/choice.h"
#include "search/enumerator_names.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace lokata::cli {
namespace {

CLI::Validator const c_notEmpty(
    [](std::string& text) { return text.empty() ? textOf(Text::text_empty) : std::string(); }, "",
    "");

std::string missingDirectory(char const* option, std::string const& directory) {
    std::error_code error;
    if (std::filesystem::is_directory(directory, error)) {
        if (::euidaccess(directory.c_str(), X_OK) == 0)
            return {};
        error = {errno, std::generic_category()};
    }
    return std::string(option) + ": \"" + directory +
           "\": " + (error ? error : make_error_code(std::errc::not_a_directory)).message();
}

} // namespace

void requireDirectory(char const* option, std::string const& directory) {
    std::string const fault = directory.empty() ? "" : missingDirectory(option, directory);
    if (!fault.empty())
        throw Failure(fault);
}

void warnOfMissingDirectory(char const* option, std::string const& directory) {
    if (std::string const fault = missingDirectory(option, directory); !fault.empty())
        reportWarning(fault);
}

CLI::Option* addRepeatable(CLI::App& command, std::string const& name,
                           std::vector<std::string>& values, std::string const& description) {
    return command.add_option(name, values, description)
        ->allow_extra_args(false)
        ->check(c_notEmpty);
}

CLI::Validator positiveNumber() {
    return {[](std::string& text) {
                bool const isPositive = text.find_first_not_of("0123456789") == std::string::npos &&
                                        text.find_first_not_of('0') != std::string::npos;
                return isPositive ? std::string() : textOf(Text::not_positive, {text});
            },
            "", ""};
}

CLI::Option* addText(CLI::App& command, std::string const& name, std::string& value,
                     std::string const& description) {
    return command.add_option(name, value, description)->check(c_notEmpty);
}

void addStoreOption(CLI::App& command, std::string& store) {
    addText(command, "--store", store, "The file that keeps your own search directories")
        ->type_name("FILE");
}

void addContextOptions(CLI::App& command, SearchOptions& options) {
    addRepeatable(command, "--context", options.contexts,
                  "A directory that the search belongs to; each inherits from the next, the first "
                  "is the nearest. Its archive is DIR/archive, if there is one")
        ->type_name("DIR");
    addText(command, "--result", options.result_dir,
            "A result directory with its own layout; nearer than all contexts")
        ->type_name("DIR");
}

void addSearchOptions(CLI::App& command, SearchOptions& options) {
    addRepeatable(command, "-d,--search-dir", options.search_dirs,
                  "A search directory: WORD is " + anyWordOf(c_categoryWords) +
                      ", FLAGS are r (recursive) and p (high priority), as in sym:r=/opt/debug")
        ->type_name("WORD[:FLAGS]=DIR");
    addRepeatable(command, "--archive", options.archives,
                  "An archive of files; the first is the nearest")
        ->type_name("DIR");
    addText(command, "--cache", options.cache_dir, "A cache directory, as the library fills it")
        ->type_name("DIR");
    addContextOptions(command, options);
    command.add_flag("--no-user", options.no_user, "Leave out your own search directories");
    addStoreOption(command, options.store);
    addText(command, "--steps", options.steps,
            "Run only these search steps: names such as AbsoluteNameLookup,SystemDirs")
        ->type_name("LIST");
    addText(command, "--kernel-release", options.kernel_release,
            "The release of the kernel that ran, as uname -r gives it")
        ->type_name("TEXT");
    addChoice(command, "--policy", options.policy, c_policies,
              "What becomes of a file that nothing confirms or refutes");
}

} // namespace lokata::cli
