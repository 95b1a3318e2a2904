#pragma once

#include <toolbelt2/temporary_directory.h>

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

inline void require(bool condition, char const* what) {
    if (!condition)
        throw std::runtime_error(what);
}

/// A directory below that of TMPDIR. Removes itself with all that is in it.
struct ScratchDirectory : toolbelt2::temporary_directory_t {
    ScratchDirectory() : temporary_directory_t("lokata-bench-") {}
};

struct ProcessResult {
    int status;
    /// Processor time of the whole process, its start included.
    double seconds;
};

/// Runs a program to its end, with its output thrown away.
inline ProcessResult runProcess(std::vector<std::string> words) {
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    int const error =
        posix_spawnp(&child, words.front().c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    require(error == 0, "cannot run a program");
    int status = 0;
    struct rusage usage {};
    require(wait4(child, &status, 0, &usage) == child && WIFEXITED(status), "a program died");
    auto const seconds = [](timeval const& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return {WEXITSTATUS(status), seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

/// Measures a program by its processor time, which other work on the machine does not lengthen as
/// it does real time. Use with `UseManualTime`.
inline void measureProcess(benchmark::State& state, std::vector<std::string> const& words,
                           int expectedStatus) {
    for ([[maybe_unused]] auto _ : state) {
        ProcessResult const result = runProcess(words);
        require(result.status == expectedStatus, "a program failed");
        state.SetIterationTime(result.seconds);
    }
}

} // namespace bench
