#include <lokata2/checksum.h>

#include "support/temp_tree.h"
#include "support/unprivileged.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace LK_2_13;

std::string calculate(std::string const& file, checksum_type_t type) {
    auto const sum = IChecksumCalculator::create()->calculateChecksum(file.c_str(), type);
    return sum ? sum->value() : "none";
}

TEST(Checksum, IsThatOfTheWholeContentOrNone) {
    test::TempTree const tree;
    std::string const file = tree.file("blocks", std::string(10000, 'x'));
    EXPECT_EQ(calculate(file, ctMd5), "b567fcb68d8555227123ab87e255872e");
    EXPECT_EQ(calculate(file, ctSha1), "f8c5cde791c5056cf515881e701c8a9ecb439a75");
    EXPECT_EQ(calculate(tree.file("empty"), ctMd5), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(calculate(tree.path("missing"), ctMd5), "none");
    EXPECT_EQ(calculate(tree.root(), ctSha1), "none");
    EXPECT_EQ(calculate(file, ctCrc32), "none");
    EXPECT_FALSE(IChecksumCalculator::create()->calculateChecksum(nullptr, ctMd5));
    std::filesystem::permissions(file, std::filesystem::perms::none);
    EXPECT_TRUE(test::holdsUnprivileged([&] { return calculate(file, ctMd5) == "none"; }));
}

TEST(Checksum, ComparesTypeAndDigitsWhateverTheirCase) {
    auto const calculator = IChecksumCalculator::create();
    auto const sum = calculator->fromString(ctMd5, "AB12");
    EXPECT_STREQ(sum->value(), "AB12");
    EXPECT_TRUE(sum->isEqualTo(*calculator->fromString(ctMd5, "ab12")));
    EXPECT_FALSE(sum->isEqualTo(*calculator->fromString(ctMd5, "ab1")));
    EXPECT_FALSE(sum->isEqualTo(*calculator->fromString(ctSha1, "AB12")));
    EXPECT_FALSE(calculator->fromString(ctMd5, nullptr));
}

TEST(ChecksumCalculator, IsOneAndNeverHandedOutWhileItGoesOnAnotherThread) {
    {
        auto const first = IChecksumCalculator::create();
        EXPECT_EQ(first, IChecksumCalculator::create());
    }
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads)
        thread = std::thread([] {
            for (int round = 0; round < 200; ++round)
                EXPECT_TRUE(IChecksumCalculator::create()->fromString(ctMd5, "ab"));
        });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
