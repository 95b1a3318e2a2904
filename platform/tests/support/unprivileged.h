#pragma once

#include "child_process.h"

/// False if this process could not give up root's rights.
inline bool becomeNobody() {
    constexpr unsigned c_nobody = 65534;
    return ::geteuid() != 0 || (::setgid(c_nobody) == 0 && ::setuid(c_nobody) == 0);
}

/// Runs `body` in a child process without root's rights, for what permissions forbid. True if it
/// gave true; what it throws is shown, ends the child and counts as false.
template <class Body>
bool holdsUnprivileged(Body body) {
    ChildProcess const child([&](ChildProcess::report_t const& /*report*/) {
        if (!becomeNobody() || !body())
            ::_exit(1);
    });
    return child.wait() == 0;
}
