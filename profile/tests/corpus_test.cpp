#include "profile/names.h"
#include "profile/read.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace lokata::profile::test {

namespace {

namespace fs = std::filesystem;

TEST(FuzzCorpus, EveryReaderTakesEveryInputThatWasEverKept) {
    std::size_t replayed = 0;
    for (auto const& directory : fs::directory_iterator(FUZZ_CORPUS)) {
        auto const forced = formatFromName(directory.path().filename());
        ASSERT_TRUE(forced) << directory.path();
        for (auto const& file : fs::directory_iterator(directory)) {
            ReadOptions options;
            options.format = forced;
            auto const profile = readProfileFile(file.path(), options);
            bool const seed = file.path().filename().string().rfind("seed-", 0) == 0;
            EXPECT_TRUE(!seed || (profile.errors.empty() && !profile.modules.empty()))
                << file.path();
            readProfileFile(file.path());
            ++replayed;
        }
    }
    EXPECT_GE(replayed, 7U);
}

} // namespace

} // namespace lokata::profile::test
