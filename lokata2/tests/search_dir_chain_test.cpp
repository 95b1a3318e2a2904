#include "lk_searchenv_chain.h"
#include "support/dir_records.h"

#include <brace/debug.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace LK_2_13 {
namespace {

using test::dirsOf;

ObjectPtr<IEditableSearchDirContainer> binaryDirs(char const* name, bool recursive, bool priority) {
    auto dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scBinaryFiles, name, recursive, priority);
    return dirs;
}

ObjectPtr<ICapturedSearchDirs> captureOf(ObjectPtr<ISearchDirContainer> const& dirs) {
    auto const env = IEditableSearchEnv::create();
    env->setSearchDirs(dirs);
    return ICapturedSearchDirs::create(env);
}

TEST(SearchDirChain, FoldsItsItemsAtTheFirstPlaceAndSpelling) {
    auto const chain = ISearchDirChain::create();
    EXPECT_FALSE(chain->addItem(nullptr));
    EXPECT_FALSE(chain->enumerate(scBinaryFiles));
    EXPECT_TRUE(chain->addItem(binaryDirs("/shared", false, false)));
    EXPECT_TRUE(chain->addItem(binaryDirs("/other", false, false)));
    EXPECT_TRUE(chain->addItem(binaryDirs("/shared/", true, false)));
    EXPECT_TRUE(chain->addItem(binaryDirs("/x/../shared", false, true)));
    EXPECT_EQ(dirsOf(chain->enumerate(scBinaryFiles)), "/shared rp;/other ;");
    EXPECT_FALSE(chain->enumerate(scSymbolFiles)) << "no item has a record";
}

TEST(SearchDirChain, ReadsItsItemsAnewAtEachEnumeration) {
    auto const dirs = IEditableSearchDirContainer::create();
    auto const chain = ISearchDirChain::create();
    chain->addItem(dirs);
    EXPECT_FALSE(chain->enumerate(scBinaryFiles));
    dirs->addDirectory(scBinaryFiles, "/late", false, false);
    EXPECT_EQ(dirsOf(chain->enumerate(scBinaryFiles)), "/late ;");
}

TEST(CapturedSearchDirs, AreFrozenAndShareOneCursor) {
    auto const dirs = binaryDirs("/a", false, true);
    dirs->addDirectory(scBinaryFiles, "/b", true, false);
    auto const captured = captureOf(dirs);
    dirs->addDirectory(scBinaryFiles, "/late", false, false);

    auto const first = captured->enumerate(scBinaryFiles);
    EXPECT_EQ(first.get(), captured->enumerate(scBinaryFiles).get());
    EXPECT_TRUE(first->next());
    char const* name = nullptr;
    bool recursive = false;
    bool priority = false;
    ASSERT_TRUE(captured->enumerate(scBinaryFiles)->getCurrentRecord(name, recursive, priority));
    EXPECT_STREQ(name, "/b") << "the position of one walk shows in the other";

    auto const chain = ISearchDirChain::create();
    chain->addItem(captured);
    EXPECT_EQ(dirsOf(chain->enumerate(scBinaryFiles)), "/a p;/b r;");
    ASSERT_TRUE(first->getCurrentRecord(name, recursive, priority));
    EXPECT_STREQ(name, "/b") << "a chain leaves the shared cursor alone";
}

TEST(CapturedSearchDirs, GiveNullForWhatTheyDoNotHave) {
    auto const captured = captureOf(binaryDirs("/a", false, false));
    EXPECT_FALSE(captured->enumerate(scSourceFiles));
    EXPECT_FALSE(captured->enumerate(static_cast<search_category_t>(0)));
    EXPECT_FALSE(captured->enumerate(static_cast<search_category_t>(5)));
    EXPECT_FALSE(ICapturedSearchDirs::create(nullptr)->enumerate(scBinaryFiles));
}

TEST(CapturedSearchDirs, ServeChainsOnSeveralThreads) {
    auto const captured = captureOf(binaryDirs("/a", true, true));
    auto const walk = [&] {
        auto const chain = ISearchDirChain::create();
        chain->addItem(captured);
        for (int i = 0; i < 200; ++i)
            ASSERT_EQ(dirsOf(chain->enumerate(scBinaryFiles)), "/a rp;");
    };
    std::thread other(walk);
    walk();
    other.join();
}

std::string commandLine(search_category_t category, ObjectPtr<ISearchDirIterator> const& iterator) {
    std::string result;
    for (auto item = getSearchDirCommandLine(category, iterator); !item.at_end(); item.next())
        result.append(item.get_value()).append("|");
    return result;
}

TEST(SearchDirCommandLine, HasTheWordTheFlagsAndTheName) {
    auto const dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scAllFiles, "/usr/lib/", false, false);
    dirs->addDirectory(scAllFiles, "/opt", true, false);
    dirs->addDirectory(scAllFiles, "/home", true, true);
    dirs->addDirectory(scAllFiles, "C:\\dir\\\\", false, true);
    auto const iterator = dirs->enumerate(scAllFiles);
    iterator->next();
    std::string const rest = "=/usr/lib/|W:r=/opt|W:rp=/home|W:p=C:\\dir\\|";
    std::pair<search_category_t, std::string> const words[] = {{scBinaryFiles, "bin"},
                                                               {scSymbolFiles, "sym"},
                                                               {scSourceFiles, "src"},
                                                               {scAllFiles, "all"}};
    for (auto const& [category, word] : words) {
        std::string expected = "W" + rest;
        for (std::size_t at = 0; (at = expected.find('W', at)) != std::string::npos;)
            expected.replace(at, 1, word);
        EXPECT_EQ(commandLine(category, iterator), expected);
    }
    EXPECT_EQ(commandLine(scBinaryFiles, nullptr), "");
}

std::string reported;

TEST(SearchDirCommandLine, ReportsAnInvalidCategory) {
    auto const before =
        BRACE_2_18::debug::set_handler([](char const* text, char const* file, char const*) {
            reported = text + std::string(file);
        });
    auto const dirs = binaryDirs("/a", false, false);
    EXPECT_EQ(commandLine(static_cast<search_category_t>(5), dirs->enumerate(scBinaryFiles)), "");
    BRACE_2_18::debug::set_handler(before);
    EXPECT_EQ(reported.rfind("Invalid category", 0), 0U);
    EXPECT_NE(reported.find("lk_searchenv"), std::string::npos);
}

} // namespace
} // namespace LK_2_13
