#include "targets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

TEST(FuzzCorpus, EveryTargetTakesEveryInputThatWasEverKept) {
    for (FuzzTarget const& target : fuzzTargets()) {
        fs::path const directory = fs::path(FUZZ_CORPUS) / target.word;
        ASSERT_TRUE(fs::is_directory(directory) && !fs::is_empty(directory)) << target.word;
        for (fs::directory_entry const& entry : fs::directory_iterator(directory)) {
            std::ifstream file(entry.path(), std::ios::binary);
            target.run(std::string{std::istreambuf_iterator<char>(file), {}});
        }
    }
}

} // namespace
