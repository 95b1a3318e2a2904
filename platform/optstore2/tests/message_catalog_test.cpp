#include <optstore2/message_catalog.h>

#include <logmast_1/logmast_1.h>

#include <log4cplus/appender.h>
#include <log4cplus/spi/loggingevent.h>

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using BRACE_2_18::generic::varg_list;
using BRACE_2_18::i18n::catalog_t;
using optstore2::getMessageCatalog;
using optstore2::setMessageDirectory;

constexpr int threadCount = 4;

class MessageCatalog : public testing::Test {
protected:
    MessageCatalog() {
        std::string name = (fs::temp_directory_path() / "messages-XXXXXX").string();
        m_directory = mkdtemp(name.data());
        setMessageDirectory(m_directory.c_str());
    }

    ~MessageCatalog() override {
        std::setlocale(LC_MESSAGES, "C");
        setMessageDirectory(nullptr);
        fs::remove_all(m_directory);
    }

    void write(std::string const& file, std::string const& text) const {
        std::ofstream(m_directory / file) << text;
    }

    /// Puts a locale in force that need not be installed: the machine's own one under a new name.
    void setLocale(std::string const& name) const {
        fs::path const locale = m_directory / "locales" / name;
        fs::create_directories(locale);
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

    fs::path m_directory;
};

TEST_F(MessageCatalog, ThatComesLateIsUsedBeforeTheInstallationsAndStaysValid) {
    EXPECT_GT(getMessageCatalog("lokata_common")->size(), 1U);
    write("lokata_common.en.json", R"({"FileDoesNotExist": "mine"})");
    catalog_t const* const catalog = getMessageCatalog("lokata_common");
    EXPECT_EQ(text(catalog, "FileDoesNotExist"), "mine");
    EXPECT_EQ(getMessageCatalog("lokata_common"), catalog);
    setMessageDirectory("");
    EXPECT_EQ(getMessageCatalog("lokata_common"), nullptr);
    EXPECT_EQ(text(catalog, "FileDoesNotExist"), "mine");
}

TEST_F(MessageCatalog, TheLanguageOfTheProcessGoesFirstKeyByKey) {
    write("lang.en.json", R"({"A": "en", "B": "en", "C": "en"})");
    write("lang.de.json", R"({"A": "de", "B": "de"})");
    write("lang.de_AT.json", R"({"A": "de_AT", "Größe": "größer"})");
    auto const texts = [] {
        catalog_t const* const catalog = getMessageCatalog("lang");
        return text(catalog, "A") + ' ' + text(catalog, "B") + ' ' + text(catalog, "C");
    };
    EXPECT_EQ(texts(), "en en en");
    setLocale("de_AT.UTF-8");
    EXPECT_EQ(texts(), "de_AT de en");
    EXPECT_EQ(text(getMessageCatalog("lang"), "Größe"), "größer");
    setLocale("de_DE@euro");
    EXPECT_EQ(texts(), "de de en");
    write("lang.de_DE.json", R"({"A": "late"})");
    EXPECT_EQ(texts(), "late de en");
    std::setlocale(LC_MESSAGES, "C.UTF-8");
    EXPECT_EQ(texts(), "en en en");
}

class CountingAppender : public log4cplus::Appender {
public:
    ~CountingAppender() override { destructorImpl(); }
    void close() override {}

    int m_count = 0;

protected:
    void append(log4cplus::spi::InternalLoggingEvent const& event) override {
        m_count += event.getLogLevel() == log4cplus::ERROR_LOG_LEVEL ? 1 : 0;
    }
};

TEST_F(MessageCatalog, ABrokenFileIsReportedOnceAndCountsAsMissingUntilItIsMended) {
    log4cplus::Logger logger = logmast_1::log::configureComponentLogger("optstore2");
    logger.setLogLevel(log4cplus::ERROR_LOG_LEVEL);
    auto* const pAppender = new CountingAppender;
    logger.addAppender(log4cplus::SharedAppenderPtr(pAppender));
    int expected = 0;
    for (char const* content :
         {"", "{\"A\": \"x\"", "[\"A\"]", "{\"A\": 1}", "{\"A\": \"\xff\"}"}) {
        std::string const name = "broken" + std::to_string(++expected);
        write(name + ".en.json", content);
        EXPECT_EQ(getMessageCatalog(name), nullptr) << content;
        EXPECT_EQ(getMessageCatalog(name), nullptr) << content;
        EXPECT_EQ(pAppender->m_count, expected) << content;
    }
    logger.removeAllAppenders();
    logger.setLogLevel(log4cplus::OFF_LOG_LEVEL);

    write("broken1.en.json", R"({"A": "mended"})");
    EXPECT_EQ(text(getMessageCatalog("broken1"), "A"), "mended");
}

TEST_F(MessageCatalog, IsOneObjectForAllThreadsWhileTheDirectoryChanges) {
    write("shared.en.json", R"({"A": "x"})");
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                setMessageDirectory(m_directory.c_str());
                right += text(getMessageCatalog("shared"), "A") == "x" ? 1 : 0;
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    EXPECT_EQ(right, threadCount * 50);
}

} // namespace
