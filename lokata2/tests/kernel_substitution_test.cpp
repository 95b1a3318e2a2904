#include "lk_search_impl.h"

#include "support/scripted_search.h"
#include "support/temp_tree.h"

#include <lokata2/checksum.h>
#include <optstore2/product_locations.h>

#include <gmock/gmock.h>

#include <filesystem>

#include <zlib.h>

namespace {

using namespace LK_2_13;
using testing::ElementsAre;

class KernelSubstitution : public testing::Test {
protected:
    KernelSubstitution() {
        optstore2::IProductLocations::get()->setTempDirectory(m_tree.path("private").c_str());
    }
    ~KernelSubstitution() override {
        optstore2::IProductLocations::get()->setTempDirectory(nullptr);
    }

    /// A file that holds a gzip stream.
    std::string image(std::string const& name, std::string const& kernel = "kernel") {
        std::string file = m_tree.file(name);
        gzFile const out = gzopen(file.c_str(), "wb");
        EXPECT_GT(gzwrite(out, kernel.data(), static_cast<unsigned>(kernel.size())), 0);
        EXPECT_EQ(gzclose(out), Z_OK);
        return file;
    }

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

    test::TempTree m_tree;
    test::ScriptedStrategy m_strategy;
    test::ScriptedValidator m_validator;
    FoundFilesLazyIterator m_files{m_strategy, m_validator, 0};
};

TEST_F(KernelSubstitution, PutsAnUnpackedCopyInThePlaceOfTheImage) {
    std::string const file = image("boot/vmlinuz-6.1");
    std::string const cached = cachedName(file);
    EXPECT_TRUE(offer(file));
    EXPECT_THAT(found(), ElementsAre(cached));
    EXPECT_EQ(test::contentOf(cached), "kernel");
    EXPECT_FALSE(offer(image("elsewhere/vmlinuz")));
}

TEST_F(KernelSubstitution, TakesACopyThatIsThereAndValidAsItStands) {
    std::string const file = image("vmlinuz");
    offer(file);
    m_tree.file(std::filesystem::relative(cachedName(file), m_tree.root()).string(), "kept");
    offer(file);
    EXPECT_EQ(test::contentOf(cachedName(file)), "kept");
}

TEST_F(KernelSubstitution, UnpacksAnewOverACopyThatIsRefusedAndElseKeepsTheImage) {
    std::string const file = image("vmlinuz");
    std::string const cached = cachedName(file);
    m_validator.refused = {cached};
    EXPECT_TRUE(offer(file));
    EXPECT_THAT(m_validator.asked, ElementsAre(file, cached));
    EXPECT_FALSE(offer(file));
    EXPECT_THAT(m_validator.asked, ElementsAre(file, cached, file, cached, cached));
    EXPECT_THAT(found(), ElementsAre(file));
    m_files.currentlyFoundInvalid()->reset();
    EXPECT_FALSE(m_files.currentlyFoundInvalid()->next());
}

TEST_F(KernelSubstitution, LeavesTheImageIfItCannotBeUnpacked) {
    std::string const plain = m_tree.file("vmlinuz-plain", "no stream");
    std::string const packed = image("vmlinuz");
    EXPECT_TRUE(offer(plain));
    EXPECT_FALSE(std::filesystem::exists(cachedName(plain)));
    optstore2::IProductLocations::get()->setTempDirectory("");
    EXPECT_TRUE(offer(packed));
    EXPECT_THAT(found(), ElementsAre(plain, packed));
}

TEST_F(KernelSubstitution, GoesByTheBeginningOfTheLastComponentOfAValidFile) {
    std::string const inside = image("vmlinuz/kernel");
    std::string const middle = image("old-vmlinuz");
    std::string const refused = image("vmlinuz.refused");
    m_validator.refused = {refused};
    EXPECT_TRUE(offer(inside));
    EXPECT_TRUE(offer(middle));
    EXPECT_FALSE(offer(refused));
    EXPECT_THAT(found(), ElementsAre(inside, middle));
    EXPECT_FALSE(std::filesystem::exists(m_tree.path("private/vmlinux_cache")));
}

TEST_F(KernelSubstitution, LosesAnImageWithoutAChecksum) {
    std::filesystem::create_directory(m_tree.path("vmlinuz"));
    EXPECT_FALSE(offer(m_tree.path("vmlinuz")));
    EXPECT_THAT(found(), testing::IsEmpty());
}

} // namespace
