#include <optstore2/property_storage.h>
#include <optstore2/storage_error.h>
#include <optstore2/store_lock.h>

#include <child_process.h>
#include <gmock/gmock.h>
#include <on_threads.h>
#include <sqlite3.h>
#include <temp_tree.h>

#include <memory>

namespace {

using namespace optstore2;
using namespace toolbelt2;
using testing::HasSubstr;

class PropertyStorage : public testing::Test {
protected:
    sptr_t<IPropertyStorage> open(std::chrono::milliseconds patience = {}) {
        auto store = IPropertyStorage::openSqlite(m_store.c_str(), m_error, patience);
        EXPECT_TRUE(store) << m_error;
        return store;
    }

    std::string refusal() {
        m_error.clear();
        EXPECT_FALSE(
            IPropertyStorage::openSqlite(m_store.c_str(), m_error, std::chrono::milliseconds(0)));
        return m_error;
    }

    /// Runs SQL on the file as another program would.
    std::shared_ptr<sqlite3> runElsewhere(std::string const& sql) const {
        sqlite3* database = nullptr;
        EXPECT_EQ(sqlite3_open(m_store.c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        return {database, &sqlite3_close};
    }

    TempTree const m_tree;
    std::string const m_store = m_tree.path("properties");
    std::string m_error;
};

variant_bag_t const c_none;

variant_bag_t text(std::string const& value) {
    variant_bag_t bag;
    bag.put("text", value);
    return bag;
}

auto fails(std::string const& reason) {
    return testing::ThrowsMessage<storage_error>(HasSubstr(reason));
}

TEST_F(PropertyStorage, BringsBackTypeNumbersOrderRepeatedNamesAndBytes) {
    variant_bag_t directory;
    directory.put("recursive", true);
    directory.put("name", std::string("/\xff\xc3(\xed\xa0\x80/\xc3\xa4\0\"\\\n", 14));
    directory.put("", "");
    variant_bag_t bag;
    bag.add_variant_bag("x", directory);
    bag.put("x", std::uint8_t{255});
    bag.add_variant_bag("x", c_none);
    bag.put("\xfe", variant_t::from_bits(static_cast<variant_type_t>(-7), ~0ULL));
    bag.put("long", variant_t::from_text(vtLongText, "\xf0\x9f\x98\x80"));
    bag.add_variant_bag("x", bag);

    open()->write("searchDirs", bag);
    EXPECT_EQ(open()->read("searchDirs", c_none), bag);
}

TEST_F(PropertyStorage, RefusesAFileThatIsNoStoreAndLeavesItAsItIs) {
    m_tree.file("properties", "my precious notes\n");
    EXPECT_THAT(refusal(), HasSubstr(m_store + ": file is not a database"));
    EXPECT_EQ(contentOf(m_store), "my precious notes\n");
    std::filesystem::remove(m_store);
    runElsewhere("CREATE TABLE property (name TEXT PRIMARY KEY, value TEXT)");
    std::string const foreign = contentOf(m_store);
    EXPECT_THAT(refusal(), HasSubstr("is the database of another program"));
    EXPECT_EQ(contentOf(m_store), foreign);

    std::filesystem::remove(m_store);
    auto const store = open();
    store->read("a", c_none);
    EXPECT_FALSE(std::filesystem::exists(m_store)) << "made by the first write";
    store->write("a", text("1"));
    runElsewhere("PRAGMA user_version = 2");
    EXPECT_THAT(refusal(), HasSubstr("format version 2"));
}

TEST_F(PropertyStorage, ReportsDamageAndNeverReadsItAsEmpty) {
    open()->write("a", text("some text"));
    std::string const whole = contentOf(m_store);
    auto const expectRefusal = [&](std::string const& damaged, std::size_t at) {
        m_tree.file("properties", damaged);
        EXPECT_NE(refusal(), "") << at;
        EXPECT_EQ(contentOf(m_store), damaged);
    };
    // A last page that is lost holds the index alone, by which a value is looked for.
    for (std::size_t keep = 0; keep < whole.size(); keep += 61)
        expectRefusal(whole.substr(0, keep), keep);
    for (std::size_t page = 0; page < whole.size(); page += 4096) {
        std::string holed = whole;
        expectRefusal(holed.replace(page, 4096, 4096, '\0'), page);
    }
    std::filesystem::rename(m_store, m_store + "-journal");
    EXPECT_THAT([&] { open()->write("a", c_none); }, fails("its journal"));
}

TEST_F(PropertyStorage, ReportsAValueThatIsNoBag) {
    auto const store = open();
    for (char const* value :
         {"", "[", "{}", "[7]", R"([["a"]])", R"([["a",3,1,1]])", R"([["a",3,-1]])",
          R"([["a",4294967296,1]])", R"([[7,3,1]])", R"([["a",12,{"bytes":[256]}]])"}) {
        store->write("a", c_none);
        runElsewhere(std::string("UPDATE property SET value = '") + value + "'");
        EXPECT_THAT([&] { store->read("a", c_none); }, fails("\"a\" is damaged")) << value;
    }
}

TEST_F(PropertyStorage, ReportsALockedFileAndKeepsWhatItHolds) {
    auto const store = open();
    store->write("a", text("kept"));
    {
        auto const owner = runElsewhere("BEGIN EXCLUSIVE");
        EXPECT_THAT([&] { store->read("a", c_none); }, fails("locked"));
        EXPECT_THAT([&] { store->write("a", c_none); }, fails("locked"));
    }
    auto const reader = runElsewhere("BEGIN; SELECT * FROM property");
    EXPECT_EQ(store->read("a", c_none), text("kept"));
    EXPECT_THAT([&] { store->write("a", c_none); }, fails("locked"));
    sqlite3_exec(reader.get(), "COMMIT", nullptr, nullptr, nullptr);
    store->write("a", text("after"));
}

TEST_F(PropertyStorage, ServesThreadsThatShareOneStore) {
    auto const store = open();
    onThreads(4, [&](int number) {
        std::string const name = std::to_string(number);
        for (int round = 0; round < 25; ++round) {
            variant_bag_t const value = text(name + std::to_string(round));
            store->write(name, value);
            EXPECT_EQ(store->read(name, c_none), value);
        }
    });
    EXPECT_EQ(store->read("3", c_none), text("324"));
}

TEST_F(PropertyStorage, ALockEndsWithItsHolderAndTellsOfIt) {
    ChildProcess const dying([this](ChildProcess::report_t const& report) {
        store_lock_t const lock(m_store.c_str());
        report(1);
        ::pause();
    });
    std::uint64_t ready = 0;
    ASSERT_TRUE(dying.nextReport(ready));
    EXPECT_THAT([&] { store_lock_t(m_store.c_str(), std::chrono::milliseconds(0)); },
                fails("process " + std::to_string(dying.pid()) + " has held the lock"));
    EXPECT_TRUE(dying.kill());
    EXPECT_THROW(store_lock_t(m_tree.path("no/file").c_str()), storage_error);

    store_lock_t const held(m_store.c_str());
    for (auto const& [content, holder] :
         {std::pair("", "another process has"), std::pair("12a\n", "another process has"),
          std::pair("12\nx", "process 12 has"),
          std::pair("1234567890123456789012345", "some other file")}) {
        m_tree.file("properties.lock", content);
        EXPECT_THAT([&] { store_lock_t(m_store.c_str(), std::chrono::milliseconds(0)); },
                    fails(holder));
    }
    m_tree.link("other.lock", m_store);
    EXPECT_THROW(store_lock_t(m_tree.path("other").c_str()), storage_error);
}

} // namespace
