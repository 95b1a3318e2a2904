#include <lokata2/utils.h>

#include "support/log_capture.h"
#include "support/temp_tree.h"
#include "support/unprivileged.h"

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <string>

#include <sys/resource.h>
#include <zlib.h>

namespace {

using namespace LK_2_13;
namespace fs = std::filesystem;
using testing::StartsWith;

constexpr std::size_t bufferSize = 0x40000;

/// A gzip stream. With Z_SYNC_FLUSH for `flush` it stops behind the content and has no end.
std::string gzip(std::string content, int flush = Z_FINISH) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string result(content.size() + 1000, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(content.data());
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, flush);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

/// Text that hardly compresses, so that its stream is longer than several buffers.
std::string longContent() {
    std::minstd_rand random(1);
    std::string result(3 * bufferSize + 100, '\0');
    for (char& c : result)
        c = static_cast<char>(random() >> 8);
    return result;
}

class KernelExtraction : public testing::Test {
protected:
    /// The content of the target; "none" if there is no target after a failure.
    std::string extract(std::string_view image) {
        std::string const file = m_tree.file("vmlinuz", image);
        bool const extracted = utils::extractVmlinux(file.c_str(), m_target.c_str());
        EXPECT_EQ(extracted, fs::exists(m_target));
        return extracted ? test::contentOf(m_target) : "none";
    }

    test::TempTree m_tree;
    std::string m_target = m_tree.path("vmlinux");
};

TEST_F(KernelExtraction, UnpacksTheStreamInsideAnImageAndLeavesWhatFollows) {
    std::string const kernel = longContent();
    test::LogCapture const log;
    EXPECT_TRUE(extract("boot \x1f\x8b\x1f code" + gzip(kernel) + "signature") == kernel);
    EXPECT_EQ(log.text(), m_target + " was extracted from " + m_tree.path("vmlinuz") + "\n");
    EXPECT_EQ(extract(gzip("first") + gzip("second")), "first");
}

TEST_F(KernelExtraction, FailsWithARecordWithoutASignatureUnlessThereIsNoImage) {
    test::LogCapture const log;
    EXPECT_EQ(extract(""), "none");
    EXPECT_THAT(log.text(), StartsWith("Failed to extract vmlinux from " + m_tree.path("vmlinuz") +
                                       ", at file: "));
    EXPECT_EQ(log.records()[0].level, log4cplus::ERROR_LOG_LEVEL);
    std::string withName = gzip("kernel");
    withName[3] = 8;
    EXPECT_EQ(extract(withName), "none");
    EXPECT_FALSE(utils::extractVmlinux(m_tree.root().c_str(), m_target.c_str()));
    EXPECT_FALSE(utils::extractVmlinux(m_tree.path("none").c_str(), m_target.c_str()));
    EXPECT_EQ(log.records().size(), 3U);
}

TEST_F(KernelExtraction, DoesNotStepBackInItsScan) {
    EXPECT_EQ(extract("\x1f" + gzip("kernel")), "none");
    EXPECT_EQ(extract("\x1f." + gzip("kernel")), "kernel");
}

TEST_F(KernelExtraction, TriesOnlyTheFirstSignature) {
    EXPECT_EQ(extract(std::string("\x1f\x8b\x08\x00 code ", 10) + gzip("kernel")), "none");
}

TEST_F(KernelExtraction, TakesWhatAStreamThatIsCutShortHolds) {
    std::string const stream = gzip(longContent());
    std::string const part = extract(std::string_view(stream).substr(0, stream.size() / 2));
    EXPECT_GT(part.size(), bufferSize);
    EXPECT_TRUE(longContent().compare(0, part.size(), part) == 0);
    EXPECT_EQ(extract(gzip("").substr(0, 4)), "");
    std::string const full(bufferSize, 'x');
    EXPECT_TRUE(extract(gzip(full, Z_SYNC_FLUSH)) == full);
}

TEST_F(KernelExtraction, RemovesTheTargetOfADamagedStream) {
    std::string stream = gzip(longContent());
    stream[stream.size() - 8] ^= 1;
    EXPECT_EQ(extract(stream), "none");
}

TEST_F(KernelExtraction, RemovesATargetThatCannotBeWrittenButNoneThatItDidNotOpen) {
    std::string const image = m_tree.file("vmlinuz", gzip("a short kernel"));
    std::string const large = m_tree.file("vmlinuz-large", gzip(longContent()));
    std::string const closed = m_tree.dir("closed");
    EXPECT_FALSE(utils::extractVmlinux(image.c_str(), closed.c_str()));
    EXPECT_TRUE(fs::is_directory(closed));

    fs::permissions(m_tree.root(), fs::perms::all);
    EXPECT_TRUE(test::holdsUnprivileged([&] {
        rlimit const limit{5, 5};
        std::signal(SIGXFSZ, SIG_IGN);
        return setrlimit(RLIMIT_FSIZE, &limit) == 0 &&
               !utils::extractVmlinux(image.c_str(), m_target.c_str()) && !fs::exists(m_target) &&
               !utils::extractVmlinux(large.c_str(), m_target.c_str()) && !fs::exists(m_target);
    }));
}

TEST_F(KernelExtraction, InflatesFromThePositionOfTheStream) {
    std::ifstream in(m_tree.file("in", "ahead" + gzip("content")), std::ios::binary);
    std::ofstream out(m_target, std::ios::binary);
    in.seekg(5);
    EXPECT_TRUE(utils::uncompress(in, out));
    out.close();
    EXPECT_EQ(test::contentOf(m_target), "content");
}

} // namespace
