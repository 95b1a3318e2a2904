#include "console/output.h"

#include "console/failure.h"

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

void reportError(std::string_view text) {
    std::string const line = "lokata: " + std::string(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace lokata::cli
