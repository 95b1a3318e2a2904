#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace LK_2_13::test {

/// Runs `body` in a child process without root's rights, for what permissions forbid. True if it
/// gave true; what it throws is shown, ends the child and counts as false.
template <class Body>
bool holdsUnprivileged(Body body) {
    pid_t const child = fork();
    if (child == 0) {
        constexpr unsigned c_nobody = 65534;
        auto const holds = [&]() noexcept {
            return (geteuid() != 0 || (setgid(c_nobody) == 0 && setuid(c_nobody) == 0)) && body();
        };
        _exit(holds() ? 0 : 1);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

} // namespace LK_2_13::test
