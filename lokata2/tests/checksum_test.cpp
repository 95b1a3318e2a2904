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

class ChecksumTest : public testing::Test {
protected:
    std::string calculate(std::string const& file, checksum_type_t type) {
        ObjectPtr<IChecksum> const sum = m_calculator->calculateChecksum(file.c_str(), type);
        if (!sum)
            return "none";
        EXPECT_EQ(sum->type(), type);
        return sum->value();
    }

    test::TempTree m_tree;
    ObjectPtr<IChecksumCalculator> m_calculator = IChecksumCalculator::create();
};

TEST_F(ChecksumTest, IsThatOfTheWholeContent) {
    std::string const empty = m_tree.file("empty");
    EXPECT_EQ(calculate(empty, ctMd5), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(calculate(empty, ctSha1), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    std::string const blocks = m_tree.file("blocks", std::string(10000, 'x'));
    EXPECT_EQ(calculate(blocks, ctMd5), "b567fcb68d8555227123ab87e255872e");
    EXPECT_EQ(calculate(blocks, ctSha1), "f8c5cde791c5056cf515881e701c8a9ecb439a75");
}

TEST_F(ChecksumTest, IsNoneWithoutAReadableFileOrAKnownType) {
    std::string const file = m_tree.file("file", "content");
    EXPECT_EQ(calculate(m_tree.path("missing"), ctMd5), "none");
    EXPECT_EQ(calculate(m_tree.root(), ctSha1), "none");
    EXPECT_EQ(calculate(file, ctCrc32), "none");
    EXPECT_EQ(calculate(file, static_cast<checksum_type_t>(3)), "none");
    EXPECT_FALSE(m_calculator->calculateChecksum(nullptr, ctMd5));
    std::filesystem::permissions(file, std::filesystem::perms::none);
    EXPECT_TRUE(test::holdsUnprivileged([&] { return calculate(file, ctMd5) == "none"; }));
}

TEST_F(ChecksumTest, ComparesTypeAndDigitsWhateverTheirCase) {
    ObjectPtr<IChecksum> const sum = m_calculator->fromString(ctMd5, "AB12");
    EXPECT_STREQ(sum->value(), "AB12");
    EXPECT_TRUE(sum->isEqualTo(*m_calculator->fromString(ctMd5, "ab12")));
    EXPECT_FALSE(sum->isEqualTo(*m_calculator->fromString(ctMd5, "ab1")));
    EXPECT_FALSE(sum->isEqualTo(*m_calculator->fromString(ctSha1, "AB12")));
    EXPECT_EQ(m_calculator->fromString(ctCrc32, "any text")->type(), ctCrc32);
    EXPECT_FALSE(m_calculator->fromString(ctMd5, nullptr));
}

TEST(ChecksumCalculator, IsOneWhileSomebodyHoldsIt) {
    ObjectPtr<IChecksumCalculator> first = IChecksumCalculator::create();
    EXPECT_EQ(first, IChecksumCalculator::create());
    first = ObjectPtr<IChecksumCalculator>();
    first = IChecksumCalculator::create();
    EXPECT_EQ(first->addRef(), 2);
    EXPECT_EQ(first->release(), 1);
}

TEST(ChecksumCalculator, IsNeverHandedOutWhileItGoesOnAnotherThread) {
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
