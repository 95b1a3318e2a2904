#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace lokata::cli::test {

/// What a run of the real program ended with.
struct Outcome {
    int status; ///< the exit status, or minus the signal that ended it
    std::string out;
    std::string err;
};

/// A directory of its own for one test, with the trees that it makes and the runs of the program
/// in it. The program's configuration directory is `config` below it.
class Workplace {
public:
    Workplace();
    ~Workplace();
    Workplace(Workplace const&) = delete;
    Workplace& operator=(Workplace const&) = delete;

    std::string path(std::string const& relative = {}) const;
    /// Makes a file, and the directories above it.
    std::string file(std::string const& relative, std::string const& content = "content") const;

    /// Runs the program in this directory. `inChild` runs in the new process before the program.
    Outcome run(std::vector<std::string> const& arguments, std::string const& input = {},
                std::function<void()> const& inChild = {}) const;

private:
    std::filesystem::path m_root;
};

} // namespace lokata::cli::test
