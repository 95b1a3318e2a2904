#include "targets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace {

namespace fs = std::filesystem;

/// Runs each target on its inputs that were kept.
template <class Run>
void onEachInput(Run const& run) {
    for (FuzzTarget const& target : fuzzTargets()) {
        fs::path const directory = fs::path(FUZZ_CORPUS) / target.word;
        ASSERT_TRUE(fs::is_directory(directory) && !fs::is_empty(directory)) << target.word;
        for (fs::directory_entry const& entry : fs::directory_iterator(directory)) {
            std::ifstream file(entry.path(), std::ios::binary);
            run(target, std::string{std::istreambuf_iterator<char>(file), {}});
        }
    }
}

TEST(FuzzCorpus, EveryTargetTakesEveryInputThatWasEverKept) {
    onEachInput([](FuzzTarget const& target, std::string const& input) { target.run(input); });
}

/// What matters beside what the targets require is that the sanitizers stay silent.
TEST(FuzzCorpus, EveryTargetTakesItsInputsCutShortAndWithBytesReplaced) {
    constexpr std::size_t c_cuts = 150;
    constexpr int c_replaced = 150;
    onEachInput([](FuzzTarget const& target, std::string const& input) {
        std::size_t const step = input.size() / c_cuts + 1;
        for (std::size_t size = 0; size < input.size(); size += step)
            target.run(std::string_view(input).substr(0, size));
        std::minstd_rand random(1);
        for (int round = 0; round < c_replaced && !input.empty(); ++round) {
            std::string damaged = input;
            for (auto left = 1 + random() % 4; left > 0; --left)
                damaged[random() % damaged.size()] = static_cast<char>(random() >> 8);
            target.run(damaged);
        }
    });
}

} // namespace
