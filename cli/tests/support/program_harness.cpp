#include "program_harness.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lokata::cli::test {

Outcome Workplace::run(std::vector<std::string> words, std::string const& input,
                       std::function<void()> const& inChild) const {
    std::vector<std::string> const ends{file(".in", input), file(".out", ""), file(".err", "")};
    std::string program = LOKATA_PROGRAM;
    std::vector<char*> argv{program.data()};
    argv.reserve(words.size() + 2);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    pid_t const child = ::fork();
    if (child == 0) {
        for (int i = 0; i < 3; ++i)
            if (::dup2(::open(ends.at(static_cast<std::size_t>(i)).c_str(), O_RDWR), i) < 0)
                ::_exit(126);
        ::setenv("XDG_CONFIG_HOME", path("config").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", path("cache-home").c_str(), 1);
        ::setenv("LC_ALL", "C", 1);
        ::unsetenv("LANGUAGE");
        if (::chdir(root().c_str()) != 0)
            ::_exit(126);
        if (inChild)
            inChild();
        ::execv(LOKATA_PROGRAM, argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child)
        throw std::runtime_error("the program could not be run");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contentOf(ends[1]),
            contentOf(ends[2])};
}

/// The machine's own locale under a German name, which is all that a catalogue goes by.
std::function<void()> Workplace::inGerman() const {
    std::string const locales = dir("locales");
    std::filesystem::copy("/usr/lib/locale/C.utf8", locales + "/de_DE.UTF-8",
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
    return [locales] {
        ::setenv("LOCPATH", locales.c_str(), 1);
        ::setenv("LC_ALL", "de_DE.UTF-8", 1);
    };
}

} // namespace lokata::cli::test
