#include "program_harness.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace lokata::cli::test {
namespace {

std::string contentOf(fs::path const& file) {
    std::ifstream input(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

void redirect(int descriptor, std::string const& file, int flags) {
    int const opened = ::open(file.c_str(), flags, 0600);
    if (opened < 0 || ::dup2(opened, descriptor) < 0)
        ::_exit(126);
}

} // namespace

Workplace::Workplace() {
    std::string pattern = (fs::temp_directory_path() / "lokata-cli-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no directory for the test");
    m_root = fs::canonical(pattern);
}

Workplace::~Workplace() {
    std::error_code ignored;
    fs::remove_all(m_root, ignored);
}

std::string Workplace::path(std::string const& relative) const {
    return relative.empty() ? m_root.string() : (m_root / relative).string();
}

std::string Workplace::file(std::string const& relative, std::string const& content) const {
    fs::path const target = m_root / relative;
    fs::create_directories(target.parent_path());
    std::ofstream(target, std::ios::binary) << content;
    return target.string();
}

Outcome Workplace::run(std::vector<std::string> const& arguments, std::string const& input,
                       std::function<void()> const& inChild) const {
    std::string const in = file(".in", input);
    std::string const out = path(".out");
    std::string const err = path(".err");
    std::vector<std::string> words{LOKATA_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    pid_t const child = ::fork();
    if (child == 0) {
        redirect(STDIN_FILENO, in, O_RDONLY);
        redirect(STDOUT_FILENO, out, O_WRONLY | O_CREAT | O_TRUNC);
        redirect(STDERR_FILENO, err, O_WRONLY | O_CREAT | O_TRUNC);
        ::setenv("XDG_CONFIG_HOME", path("config").c_str(), 1);
        ::setenv("LC_ALL", "C", 1);
        ::unsetenv("LANGUAGE");
        if (::chdir(m_root.c_str()) != 0)
            ::_exit(126);
        if (inChild)
            inChild();
        ::execv(LOKATA_PROGRAM, argv.data());
        ::_exit(127);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child)
        throw std::runtime_error("the program could not be run");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contentOf(out),
            contentOf(err)};
}

} // namespace lokata::cli::test
