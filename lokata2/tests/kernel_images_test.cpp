#include "packers.h"
#include "support/callbacks.h"
#include "support/private_dir.h"
#include "temp_tree.h"
#include "unprivileged.h"

#include <lokata2/checksum.h>
#include <lokata2/file_search.h>
#include <lokata2/utils.h>

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <random>
#include <string>

#include <sys/resource.h>

namespace {

using namespace LK_2_13;
namespace fs = std::filesystem;
using testing::ElementsAre;

constexpr std::size_t c_bufferSize = 0x40000;

/// Text that hardly compresses, so that its stream is longer than several buffers.
std::string longContent() {
    std::minstd_rand random(1);
    std::string result(3 * c_bufferSize + 100, '\0');
    for (char& c : result)
        c = static_cast<char>(random() >> 8);
    return result;
}

class KernelExtraction : public testing::Test {
protected:
    /// The content of the target; "none" if there is no target after a failure.
    std::string extract(std::string_view image) {
        std::string const file = m_tree.file("vmlinuz", image);
        fs::remove(m_target);
        bool const extracted = utils::extractVmlinux(file.c_str(), m_target.c_str());
        EXPECT_EQ(extracted, fs::exists(m_target));
        return extracted ? contentOf(m_target) : "none";
    }

    TempTree m_tree;
    std::string m_target = m_tree.path("vmlinux");
};

TEST_F(KernelExtraction, UnpacksTheFirstStreamOfAScanThatNeverStepsBack) {
    std::string const kernel = longContent();
    EXPECT_TRUE(extract("boot \x1f\x8b\x1f code" + gzip(kernel) + "signature") == kernel);
    std::string withName = gzip("kernel");
    withName[3] = 8;
    for (auto const& [image, content] :
         {std::pair(gzip("first") + gzip("second"), "first"), std::pair(std::string(), "none"),
          std::pair(withName, "none"), std::pair("\x1f" + gzip("kernel"), "none"),
          std::pair("\x1f." + gzip("kernel"), "kernel"),
          std::pair(std::string("\x1f\x8b\x08\x00 code ", 10) + gzip("kernel"), "none")})
        EXPECT_EQ(extract(image), content);
    for (std::string const& image : {m_tree.root(), m_tree.path("none")})
        EXPECT_FALSE(utils::extractVmlinux(image.c_str(), m_target.c_str()));
}

TEST_F(KernelExtraction, TakesWhatAStreamThatIsCutShortHoldsButNotADamagedOne) {
    std::string const stream = gzip(longContent());
    std::string const part = extract(std::string_view(stream).substr(0, stream.size() / 2));
    EXPECT_GT(part.size(), c_bufferSize);
    EXPECT_TRUE(longContent().compare(0, part.size(), part) == 0);
    EXPECT_EQ(extract(gzip("").substr(0, 4)), "");
    std::string const full(c_bufferSize, 'x');
    EXPECT_TRUE(extract(gzipWithoutEnd(full)) == full);
    std::string damaged = stream;
    damaged[damaged.size() - 8] ^= 1;
    EXPECT_EQ(extract(damaged), "none");
}

TEST_F(KernelExtraction, RemovesATargetThatCannotBeWrittenButNoneThatItDidNotOpen) {
    std::string const image = m_tree.file("vmlinuz", gzip("a short kernel"));
    std::string const large = m_tree.file("vmlinuz-large", gzip(longContent()));
    std::string const closed = m_tree.dir("closed");
    EXPECT_FALSE(utils::extractVmlinux(image.c_str(), closed.c_str()));
    EXPECT_TRUE(fs::is_directory(closed));

    fs::permissions(m_tree.root(), fs::perms::all);
    EXPECT_TRUE(holdsUnprivileged([&] {
        rlimit const limit{5, 5};
        std::signal(SIGXFSZ, SIG_IGN);
        return setrlimit(RLIMIT_FSIZE, &limit) == 0 &&
               !utils::extractVmlinux(image.c_str(), m_target.c_str()) && !fs::exists(m_target) &&
               !utils::extractVmlinux(large.c_str(), m_target.c_str()) && !fs::exists(m_target);
    }));
}

class KernelSubstitution : public testing::Test {
protected:
    std::string image(std::string const& name) { return m_tree.file(name, gzip("kernel")); }

    std::string cachedName(std::string const& file) {
        auto const checksum = IChecksumCalculator::create()->calculateChecksum(file.c_str(), ctMd5);
        return m_tree.path("private/vmlinux_cache/") + checksum->value() + "/vmlinux";
    }

    /// What a search makes of a file that is suggested; empty for nothing.
    std::string offer(std::string const& file) {
        auto const found = m_search->findBinFile("no/such", &m_user, file.c_str(), 0);
        return found ? found->name() : "";
    }

    TempTree m_tree;
    test::PrivateDir m_private{m_tree.path("private")};
    test::UserValidator m_user;
    ObjectPtr<IFileSearch> m_search = IFileSearch::create(nullptr);
};

TEST_F(KernelSubstitution, PutsACopyThatIsUnpackedOnceInThePlaceOfTheImage) {
    std::string const file = image("boot/vmlinuz-6.1");
    std::string const cached = cachedName(file);
    EXPECT_EQ(offer(file), cached);
    EXPECT_EQ(contentOf(cached), "kernel");
    std::ofstream(cached) << "kept";
    EXPECT_EQ(offer(image("elsewhere/vmlinuz")), cached);
    EXPECT_EQ(contentOf(cached), "kept");
}

TEST_F(KernelSubstitution, UnpacksAnewOverACopyThatIsRejectedAndElseKeepsTheImage) {
    std::string const file = image("vmlinuz");
    std::string const cached = cachedName(file);
    m_user.rejected = {cached};
    EXPECT_EQ(offer(file), file);
    EXPECT_THAT(m_user.asked, ElementsAre(file, cached));
    EXPECT_EQ(offer(file), file);
    EXPECT_THAT(m_user.asked, ElementsAre(file, cached, file, cached, cached));
}

TEST_F(KernelSubstitution, LeavesWhatCannotBeUnpackedAndWhatIsNoValidKernelByItsName) {
    std::string const rejected = image("vmlinuz.rejected");
    m_user.rejected = {rejected};
    EXPECT_EQ(offer(rejected), "");
    for (char const* const name : {"vmlinuz/kernel", "old-vmlinuz"})
        EXPECT_EQ(offer(image(name)), m_tree.path(name));
    EXPECT_FALSE(fs::exists(m_tree.path("private/vmlinux_cache")));

    std::string const plain = m_tree.file("vmlinuz-plain", "no stream");
    EXPECT_EQ(offer(plain), plain);
    EXPECT_FALSE(fs::exists(cachedName(plain)));
    m_private.set("");
    EXPECT_EQ(offer(image("vmlinuz-packed")), m_tree.path("vmlinuz-packed"));
}

} // namespace
