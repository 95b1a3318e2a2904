#include "lk_searchenv_persistent.h"
#include "support/dir_records.h"
#include "temp_tree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace LK_2_13 {
namespace {

using test::dirsOf;
using toolbelt2::variant_bag_t;

variant_bag_t directory(toolbelt2::variant_t const& name, toolbelt2::variant_t const& recursive) {
    variant_bag_t bag;
    bag.put("name", name);
    bag.put("recursive", recursive);
    bag.put("priority", true);
    return bag;
}

/// A real store in a file.
class PersistentSearchDirs : public ::testing::Test {
protected:
    void SetUp() override {
        std::string error;
        m_store = optstore2::IPropertyStorage::openSqlite(m_tree.path("store").c_str(), error);
        ASSERT_TRUE(m_store) << error;
        m_dirs = IPersistentSearchDirContainer::create(m_store);
    }

    /// "category:directories " for each child of what is stored under that name.
    std::string stored(char const* name = "searchCategory") const {
        std::string result;
        variant_bag_t const bag = m_store->read("searchDirs", {});
        for (auto child = bag.begin_by_name(name); !child.at_end(); child.next()) {
            int directories = 0;
            for (auto dir = child.get_value().begin_by_name("searchDirectory"); !dir.at_end();
                 dir.next())
                ++directories;
            result += std::to_string(child.get_value().get("category")->as_uint64()) + ":" +
                      std::to_string(directories) + " ";
        }
        return result;
    }

    /// Stores one category under the given names.
    void store(toolbelt2::variant_t const& category, std::vector<variant_bag_t> const& directories,
               char const* categoryName = "searchCategory",
               char const* directoryName = "searchDirectory") const {
        variant_bag_t bag = m_store->read("searchDirs", {});
        variant_bag_t child;
        child.put("category", category);
        for (variant_bag_t const& dir : directories)
            child.add_variant_bag(directoryName, dir);
        bag.add_variant_bag(categoryName, child);
        m_store->write("searchDirs", bag);
    }

    static constexpr std::uint8_t c_binaries = scBinaryFiles;

    TempTree m_tree;
    toolbelt2::sptr_t<optstore2::IPropertyStorage> m_store;
    ObjectPtr<IPersistentSearchDirContainer> m_dirs;
};

TEST_F(PersistentSearchDirs, AreSeenThroughEveryContainerOnTheStore) {
    auto const other = IPersistentSearchDirContainer::create(m_store);
    ASSERT_TRUE(other->enumerate(scBinaryFiles)) << "a reload gives every category a list";
    EXPECT_EQ(stored(), "") << "reading writes nothing";
    EXPECT_TRUE(m_dirs->addDirectory(scBinaryFiles, "/bytes/\xff\xfe", true, false));
    EXPECT_TRUE(other->addDirectory(scBinaryFiles, "C:\\b\\", false, true));
    EXPECT_FALSE(other->addDirectory(static_cast<search_category_t>(5), "/a", false, false));
    EXPECT_EQ(dirsOf(m_dirs->enumerate(scBinaryFiles)), "/bytes/\xff\xfe r;C:\\b\\ p;");
    EXPECT_EQ(stored(), "1:2 2:0 3:0 4:0 ");
    EXPECT_TRUE(m_dirs->clear(scBinaryFiles));
    EXPECT_EQ(dirsOf(other->enumerate(scBinaryFiles)), "");
}

TEST_F(PersistentSearchDirs, ReadTheOlderNamesAndWriteTheNewOnes) {
    store(c_binaries, {directory("/old", true)}, "SearchCategory", "SearchDirectory");
    EXPECT_EQ(dirsOf(m_dirs->enumerate(scBinaryFiles)), "/old rp;");
    m_dirs->addDirectory(scBinaryFiles, "/new", false, false);
    EXPECT_EQ(stored("SearchCategory"), "");
    EXPECT_EQ(stored(), "1:2 2:0 3:0 4:0 ");
}

TEST_F(PersistentSearchDirs, SkipMalformedRecordsAlone) {
    variant_bag_t const nameless;
    auto const longText = toolbelt2::variant_t::from_text(toolbelt2::vtLongText, "/long");
    auto const notText = toolbelt2::variant_t::from_text(toolbelt2::vtBinary, "/bytes");
    store(c_binaries, {directory("/a", std::uint8_t{1}), nameless, directory(notText, true),
                       directory(longText, false), directory("/a", true), directory("/a/.", true)});
    store(toolbelt2::variant_t("2"), {directory("/b", true)});
    store(true, {directory("/c", true)});
    EXPECT_EQ(dirsOf(m_dirs->enumerate(scBinaryFiles)), "/long p;/a rp;");
    m_dirs->clear(scAllFiles);
    EXPECT_EQ(stored(), "1:2 2:0 3:0 4:0 ");
}

} // namespace
} // namespace LK_2_13
