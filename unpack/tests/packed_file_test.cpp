#include "made_bytes.h"
#include "packers.h"

#include <unpack/packed_file.h>

#include <gmock/gmock.h>

namespace {

using namespace lokata::unpack;
using namespace lokata::unpack::test;
using namespace std::string_literals;
using ::testing::HasSubstr;

TEST(PackedFile, IsUnpackedWithWhatItsFormatLetsStandBetweenStreams) {
    std::string const text = noise(1000);
    std::string const skipped = "\x5f\x2a\x4d\x18"s + number(3, 4) + "abc";
    std::string const zeros(4, '\0');
    for (auto const& [parts, error] :
         {std::pair(std::vector{skipped, zstd(text), skipped, zstd(text)}, ""s),
          std::pair(std::vector{xz(text), zeros, xz(text)}, ""s),
          std::pair(std::vector{gzip(text), gzip(text), zeros},
                    "the gzip stream is damaged (incorrect header check)"s),
          std::pair(std::vector{zstd(text), zstd(text), zeros},
                    "the zstd stream is damaged (Unknown frame descriptor)"s)}) {
        std::string packed;
        for (auto const& part : parts)
            packed += part;
        auto const result = unpackMemory(packed, 2 * text.size());
        EXPECT_EQ(result.error, error);
        EXPECT_TRUE(result.content == text + text);
        auto const limited = unpackMemory(packed, 1500);
        EXPECT_THAT(limited.error, HasSubstr("more than the limit of 1500 bytes"));
        EXPECT_TRUE(limited.content == (text + text).substr(0, 1500));
    }
    constexpr char c_windowOfTwoGiB = '\xa8';
    EXPECT_THAT(unpackMemory("\x28\xb5\x2f\xfd\0"s + c_windowOfTwoGiB + text, 1000).error,
                HasSubstr("more memory than allowed"));
}

} // namespace
