#include <toolbelt2/digest.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace toolbelt2;

class Digest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "digest-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_directory = pattern;
    }

    void TearDown() override { std::filesystem::remove_all(m_directory); }

    path_t file(char const* name) const { return path_t((m_directory / name).c_str()); }

    path_t file_with(std::string const& content) const {
        path_t path = file("content");
        std::ofstream(path.c_str(), std::ios::binary) << content;
        return path;
    }

    std::filesystem::path m_directory;
};

template <typename Hash>
std::string digest_of(std::string const& message) {
    Hash hash;
    hash.update(message.data(), message.size());
    return hash.get_digest_base16();
}

TEST_F(Digest, OfAFileIsThatOfItsBytesWhateverTheBlockSize) {
    EXPECT_EQ(digest_of<md5_t>("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(digest_of<sha1_t>(std::string(1000000, 'a')),
              "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
    for (std::size_t size : {0U, 4095U, 4096U, 4097U, 300001U}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            content[i] = static_cast<char>(i * 31 + i / 4096);
        }
        path_t const path = file_with(content);
        for (unsigned int blockSize : {0U, 7U, 4096U, 1U << 20}) {
            md5_t hash;
            EXPECT_TRUE(hash.update_from_file(path, blockSize));
            EXPECT_EQ(hash.get_digest_base16(), digest_of<md5_t>(content)) << size;
            EXPECT_EQ(hash.get_digest_base16(), digest_of<md5_t>(content)) << "asked again";
        }
    }
}

TEST_F(Digest, IsWithheldAfterAFileThatCannotBeReadToItsEnd) {
    // The first page of a process's own address space is not mapped: it opens, and its first
    // read fails.
    for (path_t const& path : {file("missing"), path_t(m_directory.c_str()), path_t(nullptr),
                               path_t("/proc/self/mem")}) {
        sha1_t hash;
        EXPECT_FALSE(hash.update_from_file(path, 4096)) << path.c_str();
        EXPECT_EQ(hash.get_digest_base16(), "") << path.c_str();
        ASSERT_TRUE(hash.update_from_file(file_with("readable"), 4096));
        EXPECT_EQ(hash.get_digest_base16(), "") << path.c_str();
    }
}

} // namespace
