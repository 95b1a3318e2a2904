#include <optstore2/message_catalog.h>

#include <gtest/gtest.h>
#include <on_threads.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <temp_tree.h>

namespace {

namespace fs = std::filesystem;
using BRACE_2_18::generic::varg_list;
using BRACE_2_18::i18n::catalog_t;
using optstore2::getMessageCatalog;
using optstore2::setMessageDirectory;

class MessageCatalog : public testing::Test {
protected:
    MessageCatalog() { setMessageDirectory(m_tree.root().c_str()); }

    ~MessageCatalog() override {
        std::setlocale(LC_MESSAGES, "C");
        setMessageDirectory(nullptr);
    }

    /// Puts a locale in force that need not be installed: the machine's own one under a new name.
    void setLocale(std::string const& name) const {
        fs::path const locale = m_tree.dir("locales/" + name);
        fs::copy("/usr/lib/locale/C.utf8/LC_MESSAGES", locale / "LC_MESSAGES",
                 fs::copy_options::recursive);
        setenv("LOCPATH", locale.parent_path().c_str(), 1);
        ASSERT_NE(std::setlocale(LC_MESSAGES, name.c_str()), nullptr);
        unsetenv("LOCPATH");
    }

    static std::string text(catalog_t const* catalog, char const* key) {
        return catalog != nullptr ? catalog->message(key).as_ustring(varg_list()).str()
                                  : "no catalogue";
    }

    TempTree const m_tree;
};

TEST_F(MessageCatalog, ThatComesLateIsUsedBeforeTheInstallationsAndStaysValid) {
    EXPECT_GT(getMessageCatalog("lokata_common")->size(), 1U);
    m_tree.file("lokata_common.en.json", R"({"FileDoesNotExist": "mine"})");
    catalog_t const* const catalog = getMessageCatalog("lokata_common");
    EXPECT_EQ(text(catalog, "FileDoesNotExist"), "mine");
    EXPECT_EQ(getMessageCatalog("lokata_common"), catalog);
    setMessageDirectory("");
    EXPECT_EQ(getMessageCatalog("lokata_common"), nullptr);
    EXPECT_EQ(text(catalog, "FileDoesNotExist"), "mine");
}

TEST_F(MessageCatalog, TheLanguageOfTheProcessGoesFirstKeyByKey) {
    m_tree.file("lang.en.json", R"({"A": "en", "B": "en", "C": "en"})");
    m_tree.file("lang.de.json", R"({"A": "de", "B": "de"})");
    m_tree.file("lang.de_AT.json", R"({"A": "de_AT"})");
    auto const texts = [] {
        catalog_t const* const catalog = getMessageCatalog("lang");
        return text(catalog, "A") + ' ' + text(catalog, "B") + ' ' + text(catalog, "C");
    };
    EXPECT_EQ(texts(), "en en en");
    setLocale("de_AT.UTF-8");
    EXPECT_EQ(texts(), "de_AT de en");
}

TEST_F(MessageCatalog, ABrokenFileCountsAsMissingUntilItIsMended) {
    for (char const* content :
         {"", "{\"A\": \"x\"", "[\"A\"]", "{\"A\": 1}", "{\"A\": \"\xff\"}"}) {
        m_tree.file("broken.en.json", content);
        EXPECT_EQ(getMessageCatalog("broken"), nullptr) << content;
    }
    m_tree.file("broken.en.json", R"({"A": "mended"})");
    EXPECT_EQ(text(getMessageCatalog("broken"), "A"), "mended");
}

TEST_F(MessageCatalog, IsOneObjectForAllThreadsWhileTheDirectoryChanges) {
    m_tree.file("shared.en.json", R"({"A": "x"})");
    std::atomic<int> right{0};
    onThreads(4, [&](int) {
        for (int round = 0; round < 50; ++round) {
            setMessageDirectory(m_tree.root().c_str());
            right += text(getMessageCatalog("shared"), "A") == "x" ? 1 : 0;
        }
    });
    EXPECT_EQ(right, 4 * 50);
}

} // namespace
