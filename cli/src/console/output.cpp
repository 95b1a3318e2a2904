#include "console/output.h"

#include "console/failure.h"
#include "console/terminal.h"

#include <lokata/profile/profile.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <unistd.h>

namespace lokata::cli {

void writeOutput(std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t const written = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (written >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            throw Failure("standard output: " + std::string(std::strerror(errno)));
    }
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

void reportError(std::string_view text) {
    std::string const line = "lokata: " + printable(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace lokata::cli
