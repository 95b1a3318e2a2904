#include "console/ending.h"

#include <toolbelt2/pending_file.h>

#include <csignal>
#include <system_error>
#include <thread>

#include <ucontext.h>
#include <unistd.h>

namespace lokata::cli {
namespace {

sigset_t setOf(std::initializer_list<int> signals) {
    sigset_t set;
    ::sigemptyset(&set);
    for (int const signal : signals)
        ::sigaddset(&set, signal);
    return set;
}

bool isIgnored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void change(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    ::sigaction(signal, &action, nullptr);
}

volatile std::sig_atomic_t g_isInterrupted = 0;

/// Blocked for the main thread from the return on, so that the next one goes to the thread that
/// waits for signals.
void noteInterrupt(int signal, siginfo_t* /*info*/, void* context) {
    g_isInterrupted = 1;
    ::sigaddset(&static_cast<ucontext_t*>(context)->uc_sigmask, signal);
}

} // namespace

void endBy(int signal) {
    toolbelt2::pending_file_t::abandon_all();
    change(signal, SIG_DFL);
    sigset_t const set = setOf({signal});
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    ::raise(signal);
    ::_exit(128 + signal);
}

void endCleanlyOnSignals() {
    sigset_t set = setOf({});
    for (int const signal : {SIGINT, SIGTERM, SIGHUP})
        if (!isIgnored(signal))
            ::sigaddset(&set, signal);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    try {
        std::thread([set] {
            int signal = 0;
            if (::sigwait(&set, &signal) == 0)
                endBy(signal);
        }).detach();
    } catch (std::system_error const&) {
        // No thread can be had: the signals end the program at once.
        ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    }
}

InterruptGuard::InterruptGuard() {
    g_isInterrupted = 0;
    if (isIgnored(SIGINT))
        return;
    struct sigaction action {};
    action.sa_sigaction = noteInterrupt;
    action.sa_flags = SA_SIGINFO;
    ::sigaction(SIGINT, &action, nullptr);
    sigset_t const set = setOf({SIGINT});
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

InterruptGuard::~InterruptGuard() {
    if (isIgnored(SIGINT))
        return;
    sigset_t const set = setOf({SIGINT});
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    change(SIGINT, SIG_DFL);
}

bool InterruptGuard::isInterrupted() {
    return g_isInterrupted != 0;
}

} // namespace lokata::cli
