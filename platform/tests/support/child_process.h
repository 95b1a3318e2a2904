#pragma once

#include <toolbelt2/descriptor.h>

#include <csignal>
#include <cstdint>
#include <functional>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

/// A child process that reports numbers through a pipe as it goes. What its body throws shows and
/// ends it, and never comes back into the test program.
class ChildProcess {
public:
    using report_t = std::function<void(std::uint64_t)>;

    explicit ChildProcess(std::function<void(report_t const&)> const& body) {
        int ends[2];
        if (::pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(ends[0]);
            runAndExit(body, ends[1]);
        }
        ::close(ends[1]);
        m_reports.reset(ends[0]);
    }

    pid_t pid() const { return m_pid; }

    bool nextReport(std::uint64_t& number) const {
        return ::read(m_reports.get(), &number, sizeof number) == sizeof number;
    }

    /// The status of its end, 0 if its body came to an end.
    int wait() const {
        int status = -1;
        ::waitpid(m_pid, &status, 0);
        return status;
    }

    /// True if it had not ended before.
    bool kill() const {
        ::kill(m_pid, SIGKILL);
        return WIFSIGNALED(wait());
    }

private:
    static void runAndExit(std::function<void(report_t const&)> const& body, int end) noexcept {
        body([end](std::uint64_t number) {
            if (::write(end, &number, sizeof number) != sizeof number)
                ::_exit(3);
        });
        ::_exit(0);
    }

    pid_t m_pid = -1;
    toolbelt2::descriptor_t m_reports;
};
