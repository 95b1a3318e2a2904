#include "lk_search_impl.h"

#include "packers.h"
#include "support/private_dir.h"
#include "support/scripted_search.h"
#include "temp_tree.h"
#include "unprivileged.h"

#include <lokata2/checksum.h>
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

    bool offer(std::string const& file) {
        return m_files.validateAndAdd(file.c_str(), ssSystemDirs);
    }

    std::vector<std::string> found() {
        m_files.currentlyFoundValid()->reset();
        return test::namesOf(*m_files.currentlyFoundValid());
    }

    TempTree m_tree;
    test::PrivateDir m_private{m_tree.path("private")};
    test::ScriptedStrategy m_strategy;
    test::ScriptedValidator m_validator;
    FoundFilesLazyIterator m_files{m_strategy, m_validator, 0};
};

TEST_F(KernelSubstitution, PutsACopyThatIsUnpackedOnceInThePlaceOfTheImage) {
    std::string const file = image("boot/vmlinuz-6.1");
    std::string const cached = cachedName(file);
    EXPECT_TRUE(offer(file));
    EXPECT_THAT(found(), ElementsAre(cached));
    EXPECT_EQ(contentOf(cached), "kernel");
    std::ofstream(cached) << "kept";
    EXPECT_FALSE(offer(image("elsewhere/vmlinuz")));
    EXPECT_EQ(contentOf(cached), "kept");
}

TEST_F(KernelSubstitution, UnpacksAnewOverACopyThatIsRejectedAndElseKeepsTheImage) {
    std::string const file = image("vmlinuz");
    std::string const cached = cachedName(file);
    m_validator.rejected = {cached};
    EXPECT_TRUE(offer(file));
    EXPECT_THAT(m_validator.asked, ElementsAre(file, cached));
    EXPECT_FALSE(offer(file));
    EXPECT_THAT(m_validator.asked, ElementsAre(file, cached, file, cached, cached));
    EXPECT_THAT(found(), ElementsAre(file));
    m_files.currentlyFoundInvalid()->reset();
    EXPECT_FALSE(m_files.currentlyFoundInvalid()->next());
}

TEST_F(KernelSubstitution, LeavesWhatCannotBeUnpackedAndWhatIsNoValidKernelByItsName) {
    std::string const inside = image("vmlinuz/kernel");
    std::string const middle = image("old-vmlinuz");
    std::string const rejected = image("vmlinuz.rejected");
    m_validator.rejected = {rejected};
    EXPECT_TRUE(offer(inside) && offer(middle));
    EXPECT_FALSE(offer(rejected));
    EXPECT_FALSE(fs::exists(m_tree.path("private/vmlinux_cache")));

    std::string const plain = m_tree.file("vmlinuz-plain", "no stream");
    EXPECT_TRUE(offer(plain));
    EXPECT_FALSE(fs::exists(cachedName(plain)));
    m_private.set("");
    std::string const packed = image("vmlinuz-packed");
    EXPECT_TRUE(offer(packed));
    EXPECT_FALSE(offer(m_tree.dir("vmlinuz-dir"))) << "lost: it has no checksum";
    EXPECT_THAT(found(), ElementsAre(inside, middle, plain, packed));
}

} // namespace
