#include "program_harness.h"

#include "packers.h"
#include "private_dir.h"
#include "program.h"

namespace fs = std::filesystem;
namespace lokata::cli::test {

using namespace testing;

namespace {

using UnpackKernelProgram = ProgramTest;

/// Runs the program in this process, so that the kernel cache can be put into the workplace.
Outcome runHere(std::vector<std::string> const& words) {
    std::vector<char const*> argv{"lokata"};
    for (std::string const& word : words)
        argv.push_back(word.c_str());
    testing::internal::CaptureStdout();
    ExitStatus const status = runProgram(static_cast<int>(argv.size()), argv.data());
    return {static_cast<int>(status), testing::internal::GetCapturedStdout(), ""};
}

TEST_F(UnpackKernelProgram, FillsThePlaceWhereASearchLooks) {
    std::string kernel("\177ELF\2\1\1", 7);
    for (int i = 0; i < 20000; ++i)
        kernel += static_cast<char>(i * i >> 3);
    std::string const image = file("boot/vmlinuz-1", "boot sector" + gzip(kernel));
    LK_2_13::test::PrivateDir const privateDir(path("cache"));

    std::string const unpacked = runHere({"unpack-kernel", image}).text();
    EXPECT_THAT(unpacked, StartsWith("0\n" + path("cache/vmlinux_cache/")));
    EXPECT_EQ(runHere({"find", "bin", image, "--no-user"}).text(), unpacked);
    std::string const copy = unpacked.substr(2, unpacked.size() - 3);
    fs::remove(copy);
    fs::create_symlink("/dev/null", copy);
    EXPECT_EQ(runHere({"unpack-kernel", image}).text(), unpacked) << "in the place of a link";
    EXPECT_EQ(runHere({"unpack-kernel", image, path("vmlinux")}).text(), "0\n" + path("vmlinux\n"));
    EXPECT_TRUE(contentOf(path("vmlinux")) == kernel);
    for (std::string const& bad : {image, std::string("/dev/null"), path("no/such")})
        EXPECT_EQ(run({"unpack-kernel", image, bad}).status, 2) << bad;
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    EXPECT_THAT(run({"unpack-kernel", file("text")}).err, HasSubstr(path("text")));
}

} // namespace
} // namespace lokata::cli::test
