#pragma once

namespace lokata::cli {

/// From here on SIGINT, SIGTERM and SIGHUP end the program as ever, but first the files that it has
/// not finished are removed. A signal that was ignored stays so, as under nohup(1). A thread of its
/// own waits for these signals; all that are started later have them blocked.
void endCleanlyOnSignals();

/// Ends the program by a signal, so that a shell sees what ended it. Removes the files that it has
/// not finished.
[[noreturn]] void endBy(int signal);

/// While it lives, the first SIGINT only says so, and interrupts what this thread waits for. The
/// next one ends the program. For one object at a time, on the main thread.
class InterruptGuard {
public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(InterruptGuard const&) = delete;
    InterruptGuard& operator=(InterruptGuard const&) = delete;

    static bool isInterrupted();
};

} // namespace lokata::cli
