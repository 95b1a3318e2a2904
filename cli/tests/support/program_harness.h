#pragma once

#include "temp_tree.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

namespace lokata::cli::test {

/// The MD5 of "content", what `Workplace::file` writes by default.
inline std::string const c_md5OfContent = "9a0364b9e99bb480dd25e1f0284c8555";
inline std::string const c_md5OfAbc = "900150983cd24fb0d6963f7d28e17f72";

/// What a run of the real program ended with.
struct Outcome {
    int status; ///< The exit status, or minus the signal that ended it.
    std::string out;
    std::string err;

    /// The status in a line, and behind it all that was written.
    std::string text() const { return std::to_string(status) + "\n" + out + err; }
};

/// A directory of its own for one test, with the trees that it makes and the runs of the program
/// in it. The program's configuration directory is `config` below it.
class Workplace : public TempTree {
public:
    /// Makes a file, and the directories above it.
    std::string file(std::string_view name, std::string_view content = "content") const {
        return TempTree::file(name, content);
    }

    /// Runs the program in this directory. `inChild` runs in the new process before the program.
    Outcome run(std::vector<std::string> words, std::string const& input = {},
                std::function<void()> const& inChild = {}) const;

    /// For `inChild`: a German locale, which need not be installed.
    std::function<void()> inGerman() const;
};

/// A case with a workplace of its own.
class ProgramTest : public testing::Test, protected Workplace {};

} // namespace lokata::cli::test
