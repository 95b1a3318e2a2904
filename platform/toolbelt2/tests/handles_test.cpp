#include <toolbelt2/descriptor.h>
#include <toolbelt2/directory_entries.h>
#include <toolbelt2/hex.h>
#include <toolbelt2/pending_file.h>
#include <toolbelt2/temporary_directory.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <temp_tree.h>

namespace {

using namespace toolbelt2;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

using names_t = std::vector<std::string>;

class Handles : public testing::Test {
protected:
    names_t entries() const {
        names_t names;
        for (auto const& entry : fs::directory_iterator(m_tree.root()))
            names.push_back(entry.path().filename());
        return names;
    }

    TempTree const m_tree;
};

bool is_open(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) == FD_CLOEXEC;
}

TEST_F(Handles, ADescriptorIsClosedOnceByItsLastOwner) {
    descriptor_t first = descriptor_t::open(m_tree.file("a").c_str(), O_RDONLY);
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

    first = descriptor_t::open(m_tree.path("none").c_str(), O_RDONLY);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(first);
}

TEST_F(Handles, BytesAreReadAndWrittenToTheEndOrToTheFirstFailure) {
    auto const file = descriptor_t::open(m_tree.file("a").c_str(), O_RDWR);
    EXPECT_FALSE(write_all(file.get(), "content"));
    std::string bytes(10, '-');
    std::error_code error;
    EXPECT_EQ(read_at(file.get(), 3, bytes.data(), bytes.size(), error), 4U);
    EXPECT_EQ(bytes, "tent------");
    EXPECT_FALSE(error);
    EXPECT_EQ(read_at(-1, 0, bytes.data(), 1, error), 0U);
    EXPECT_EQ(error, std::errc::bad_file_descriptor);
    EXPECT_EQ(write_all(-1, "x"), std::errc::bad_file_descriptor);
}

TEST_F(Handles, AReadingOfADirectoryTellsAllNamesAndWhatToEnter) {
    m_tree.dir("directory");
    m_tree.file("plain");
    ASSERT_EQ(::mkfifo(m_tree.path("pipe").c_str(), 0600), 0);
    m_tree.link("link", "directory");
    m_tree.link("dangling", "none");
    m_tree.link("through", "plain/none");

    names_t names;
    auto const read = [&names](std::string const& directory, bool withSubdirectories) {
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
    EXPECT_THAT(read(m_tree.root(), true), UnorderedElementsAre("directory", "link"));
    EXPECT_THAT(names, SizeIs(6));
    EXPECT_THAT(read(m_tree.root(), false), IsEmpty());
    EXPECT_THAT(names, SizeIs(6));

    m_tree.link("self", "self");
    EXPECT_THAT(read(m_tree.root(), true), IsEmpty()) << "one entry of unknown status";
    EXPECT_THAT(names, SizeIs(7));

    for (char const* const unreadable : {"plain", "none"})
        EXPECT_FALSE(
            read_directory(m_tree.path(unreadable).c_str(), true, [](char const*) {}).is_complete);
}

TEST_F(Handles, ATemporaryDirectoryGoesWithItsContentButFollowsNoLink) {
    m_tree.file("kept");
    fs::path path;
    {
        temporary_directory_t const directory(m_tree.root(), "t-");
        path = directory.path();
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
        fs::create_directories(path / "a/b");
        fs::create_directory_symlink(m_tree.root(), path / "a/b/up");
    }
    EXPECT_THAT(entries(), UnorderedElementsAre("kept"));
    EXPECT_THROW(temporary_directory_t(m_tree.path("none"), ""), std::system_error);
}

TEST_F(Handles, APendingFileAppearsWholeOrNotAtAll) {
    std::string const target = m_tree.file("target", "old");
    {
        pending_file_t pending(target);
        pending.write("new");
        EXPECT_EQ(contentOf(target), "old");
        EXPECT_EQ(contentOf(pending.path()), "new");
        EXPECT_EQ(fs::path(pending.path()).parent_path(), m_tree.root());
    }
    EXPECT_THAT(entries(), UnorderedElementsAre("target"));

    pending_file_t pending(target, 0600);
    pending_file_t other(target, 0640);
    pending.write("new ");
    pending.write("text");
    EXPECT_EQ(contentOf(target), "old");
    pending.commit();
    EXPECT_EQ(contentOf(target), "new text");
    EXPECT_EQ(fs::status(target).permissions(), fs::perms(0600));
    other.commit();
    EXPECT_EQ(contentOf(target), "");
    EXPECT_EQ(fs::status(target).permissions(), fs::perms(0640));
    EXPECT_THAT(entries(), UnorderedElementsAre("target"));

    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit const full{4, old.rlim_max};
    pending_file_t cut(target);
    ::setrlimit(RLIMIT_FSIZE, &full);
    EXPECT_THROW(cut.write("too much"), std::system_error);
    ::setrlimit(RLIMIT_FSIZE, &old);

    EXPECT_FALSE(pending_file_t(target).commit_as_new());
    EXPECT_TRUE(pending_file_t(m_tree.path(std::string(255, 'x'))).commit_as_new());
    EXPECT_THAT(entries(), testing::IsSupersetOf({std::string("target"), std::string(255, 'x')}));
}

TEST_F(Handles, APendingFileTakesThePlaceOfARegularFileOnly) {
    m_tree.link("link", m_tree.file("plain", "kept"));
    m_tree.dir("directory");
    for (char const* const taken : {"link", "directory"})
        EXPECT_THROW(pending_file_t(m_tree.path(taken)), std::runtime_error) << taken;
    EXPECT_THROW(pending_file_t(m_tree.path("none/file")), std::system_error);
    {
        pending_file_t late(m_tree.path("late"));
        m_tree.link("late", "plain");
        EXPECT_THROW(late.commit(), std::runtime_error);
    }
    EXPECT_THAT(entries(), UnorderedElementsAre("plain", "link", "directory", "late"));
    EXPECT_TRUE(fs::is_symlink(m_tree.path("late")));
    EXPECT_EQ(contentOf(m_tree.path("plain")), "kept");
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
