#include <toolbelt2/descriptor.h>
#include <toolbelt2/directory_entries.h>
#include <toolbelt2/hex.h>
#include <toolbelt2/pending_file.h>
#include <toolbelt2/temporary_directory.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace toolbelt2;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

using names_t = std::vector<std::string>;

class Handles : public testing::Test {
protected:
    fs::path file(char const* name, char const* content = "") const {
        std::ofstream(m_root / name) << content;
        return m_root / name;
    }
    names_t entries() const {
        names_t names;
        for (auto const& entry : fs::directory_iterator(m_root))
            names.push_back(entry.path().filename());
        return names;
    }
    static std::string content(fs::path const& name) {
        std::ifstream in(name);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    temporary_directory_t m_directory{"handles-"};
    fs::path m_root = m_directory.path();
};

bool is_open(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) == FD_CLOEXEC;
}

TEST_F(Handles, ADescriptorIsClosedOnceByItsLastOwner) {
    descriptor_t first = descriptor_t::open(file("a").c_str(), O_RDONLY);
    int const number = first.get();
    ASSERT_TRUE(first && is_open(number));
    {
        descriptor_t second(std::move(first));
        EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move)
        first = std::move(second);
        EXPECT_TRUE(is_open(number));
    }
    EXPECT_FALSE(first.close());
    EXPECT_FALSE(is_open(number));
    EXPECT_FALSE(first.close());
    first.reset(number);
    EXPECT_EQ(first.close(), std::errc::bad_file_descriptor);

    first = descriptor_t::open((m_root / "none").c_str(), O_RDONLY);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(first);
}

TEST_F(Handles, AReadingOfADirectoryTellsAllNamesAndWhatToEnter) {
    fs::create_directory(m_root / "directory");
    file("plain");
    ASSERT_EQ(::mkfifo((m_root / "pipe").c_str(), 0600), 0);
    fs::create_symlink("directory", m_root / "link");
    fs::create_symlink("none", m_root / "dangling");
    fs::create_symlink("plain/none", m_root / "through");

    names_t names;
    auto const read = [&names](fs::path const& directory, bool withSubdirectories) {
        names.clear();
        directory_reading_t const reading =
            read_directory(directory.c_str(), withSubdirectories,
                           [&names](char const* name) { names.emplace_back(name); });
        EXPECT_TRUE(reading.is_complete);
        names_t subdirectories;
        for (char const* const name : reading.subdirectories)
            subdirectories.emplace_back(name);
        return subdirectories;
    };
    EXPECT_THAT(read(m_root, true), UnorderedElementsAre("directory", "link"));
    EXPECT_THAT(names, SizeIs(6));
    EXPECT_THAT(read(m_root, false), IsEmpty());
    EXPECT_THAT(names, SizeIs(6));

    fs::create_symlink("self", m_root / "self");
    EXPECT_THAT(read(m_root, true), IsEmpty()) << "one entry of unknown status";
    EXPECT_THAT(names, SizeIs(7));

    for (char const* const unreadable : {"plain", "none"})
        EXPECT_FALSE(
            read_directory((m_root / unreadable).c_str(), true, [](char const*) {}).is_complete);
}

TEST_F(Handles, ATemporaryDirectoryGoesWithItsContentButFollowsNoLink) {
    file("kept");
    fs::path path;
    {
        temporary_directory_t const directory(m_directory.path(), "t-");
        path = directory.path();
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
        fs::create_directories(path / "a/b");
        fs::create_directory_symlink(m_root, path / "a/b/up");
    }
    EXPECT_THAT(entries(), UnorderedElementsAre("kept"));
    EXPECT_THROW(temporary_directory_t((m_root / "none").string(), ""), std::system_error);
}

TEST_F(Handles, APendingFileAppearsWholeOrNotAtAll) {
    fs::path const target = file("target", "old");
    {
        pending_file_t pending(target);
        pending.write("new");
        EXPECT_EQ(content(target), "old");
        EXPECT_EQ(content(pending.path()), "new");
        EXPECT_EQ(fs::path(pending.path()).parent_path(), m_root);
    }
    EXPECT_THAT(entries(), UnorderedElementsAre("target"));

    pending_file_t pending(target, 0600);
    pending_file_t other(target, 0640);
    pending.write("new ");
    pending.write("text");
    EXPECT_EQ(content(target), "old");
    pending.commit();
    EXPECT_EQ(content(target), "new text");
    EXPECT_EQ(fs::status(target).permissions(), fs::perms(0600));
    other.commit();
    EXPECT_EQ(content(target), "");
    EXPECT_EQ(fs::status(target).permissions(), fs::perms(0640));
    EXPECT_THAT(entries(), UnorderedElementsAre("target"));

    EXPECT_FALSE(pending_file_t(target).commit_as_new());
    EXPECT_TRUE(pending_file_t(m_root / std::string(255, 'x')).commit_as_new());
    EXPECT_THAT(entries(), UnorderedElementsAre("target", std::string(255, 'x')));
}

TEST_F(Handles, APendingFileTakesThePlaceOfARegularFileOnly) {
    fs::create_symlink(file("plain", "kept"), m_root / "link");
    fs::create_directory(m_root / "directory");
    for (char const* const taken : {"link", "directory"})
        EXPECT_THROW(pending_file_t(m_root / taken), std::runtime_error) << taken;
    EXPECT_THROW(pending_file_t(m_root / "none/file"), std::system_error);
    {
        pending_file_t late(m_root / "late");
        fs::create_symlink("plain", m_root / "late");
        EXPECT_THROW(late.commit(), std::runtime_error);
    }
    EXPECT_THAT(entries(), UnorderedElementsAre("plain", "link", "directory", "late"));
    EXPECT_TRUE(fs::is_symlink(m_root / "late"));
    EXPECT_EQ(content(m_root / "plain"), "kept");
}

TEST(Hex, BytesAndDigitsComeBackFromEachOther) {
    std::vector<std::uint8_t> const bytes{0x00, 0x7F, 0x80, 0xFA};
    EXPECT_EQ(to_hex(bytes), "007f80fa");
    EXPECT_EQ(from_hex("007F80fa"), bytes);
    EXPECT_THAT(from_hex(""), testing::Optional(IsEmpty()));
    for (char const* const bad : {"0", "0g", "g0", "-1", "+1", "0x", " 1", "00 0"})
        EXPECT_EQ(from_hex(bad), std::nullopt) << bad;
}

} // namespace
