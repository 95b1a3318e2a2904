#include "console/output.h"

#include "console/failure.h"
#include "console/terminal.h"
#include "console/texts.h"

#include <lokata/profile/profile.h>

#include <toolbelt2/descriptor.h>

#include <cstdio>
#include <system_error>

#include <unistd.h>

namespace lokata::cli {

void writeOutput(std::string_view bytes) {
    if (std::error_code const error = toolbelt2::write_all(STDOUT_FILENO, bytes))
        throw Failure(textOf(Text::output_failed, {error.message()}));
}

std::string printable(std::string_view text) {
    std::string result;
    for (;;) {
        std::size_t const backslash = text.find('\\');
        result += profile::displayName(text.substr(0, backslash));
        if (backslash == std::string_view::npos)
            return result;
        result += '\\';
        text.remove_prefix(backslash + 1);
    }
}

std::string pathLine(std::string const& path) {
    return (isTerminal(STDOUT_FILENO) ? printable(path) : path) + "\n";
}

void reportWarning(std::string_view text) {
    reportError(textOf(Text::warning, {text}));
}

void reportError(std::string_view text) {
    std::string const line = "lokata: " + printable(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace lokata::cli
