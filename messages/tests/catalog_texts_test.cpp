#include "console/texts.h"
#include "read/reasons.h"
#include "report/page/page_texts.h"

#include <lokata2/messages.h>

#include <optstore2/message_catalog.h>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

using keys_t = std::map<std::string, std::vector<std::string>>;

std::string numbered(std::size_t arguments) {
    std::string placeholders;
    for (std::size_t i = 1; i <= arguments; ++i)
        placeholders += "{arg" + std::to_string(i) + "}";
    return placeholders;
}

/// By the placeholders that their texts must have.
keys_t reasonKeys() {
    keys_t keys;
    for (lokata::profile::ReasonEntry const& reason : lokata::profile::c_reasons)
        keys[numbered(reason.arguments)].emplace_back(reason.word);
    return keys;
}

keys_t programKeys() {
    keys_t keys;
#define ADD_KEY(name, key, arguments) keys[numbered(arguments)].emplace_back(key);
    LOKATA_PROGRAM_TEXTS(ADD_KEY)
#undef ADD_KEY
    return keys;
}

keys_t pageKeys() {
    keys_t keys;
    for (lokata::profile::PageText const& text : lokata::profile::c_pageTexts)
        keys[numbered(text.arguments)].emplace_back(text.key);
    return keys;
}

/// Those that hold words and titles beside sentences; docs/messages.md lists them elsewhere.
bool hasWords(std::string const& catalog) {
    return catalog == lokata::cli::c_programCatalog || catalog == lokata::profile::c_pageCatalog;
}

/// Those of the library, whose one text without a placeholder is that of a directory.
keys_t libraryKeys() {
    keys_t keys{{"", {"NoDataForSourceFileValidation"}}};
#define ADD_KEY(Name, parameters)                                                                  \
    keys[std::string(#Name) == "FileIsDirectoryMessage" ? "" : "{arg1}"].emplace_back(             \
        #Name, sizeof(#Name) - sizeof("Message"));
    LOKATA2_MESSAGES(ADD_KEY)
#undef ADD_KEY
    return keys;
}

/// The keys of each catalogue, by the placeholders that their texts must have; empty for none.
std::map<std::string, keys_t> const c_keys = {
    {"lokata_common", libraryKeys()},
    {"lokata.climgr", {{"{%1}", {"%CannotMatchFileWithChecksumMismatch"}}}},
    {lokata::profile::c_reasonCatalog, reasonKeys()},
    {lokata::cli::c_programCatalog, programKeys()},
    {lokata::profile::c_pageCatalog, pageKeys()},
};

/// Takes "{a}{b}" apart, and each of its placeholders out of the text.
void takeOut(std::string placeholders, std::string& text) {
    while (!placeholders.empty()) {
        std::string const each = placeholders.substr(0, placeholders.find('}') + 1);
        std::size_t const at = text.find(each);
        ASSERT_NE(at, std::string::npos) << text << each;
        text.erase(at, each.size());
        placeholders.erase(0, each.size());
    }
}

class Catalog : public testing::TestWithParam<char const*> {};

TEST_P(Catalog, HasEveryTextWithItsPlaceholdersAndNoOther) {
    for (auto const& [name, keysByPlaceholder] : c_keys) {
        std::ifstream file(LOKATA_MESSAGES "/" + name + '.' + GetParam() + ".json");
        auto texts = nlohmann::json::parse(file).get<std::map<std::string, std::string>>();
        for (auto const& [placeholders, keys] : keysByPlaceholder) {
            for (std::string const& key : keys) {
                std::string text = texts[key];
                EXPECT_NE(text.back(), ' ') << key;
                takeOut(placeholders, text);
                EXPECT_EQ(text.find_first_of("{}"), std::string::npos) << key;
                if (!hasWords(name)) {
                    EXPECT_GT(text.size(), 15U) << key;
                    EXPECT_NE(text.back(), ' ') << key << " with an empty argument";
                }
                texts.erase(key);
            }
        }
        EXPECT_TRUE(texts.empty()) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, Catalog, testing::Values("en", "de"),
                         [](auto const& language) { return std::string(language.param); });

TEST(Catalogs, HaveAllTheirKeysOnThePageAboutThem) {
    std::ifstream file(LOKATA_MESSAGES_PAGE);
    std::string const page{std::istreambuf_iterator<char>(file), {}};
    for (auto const& [name, keysByPlaceholder] : c_keys)
        for (auto const& [placeholders, keys] : keysByPlaceholder)
            for (std::string const& key : hasWords(name) ? std::vector<std::string>() : keys)
                EXPECT_NE(page.find('`' + key + '`'), std::string::npos) << key;
}

TEST(Catalogs, AreFoundByALibraryThatRunsFromTheBuildTree) {
    for (auto const& each : c_keys)
        EXPECT_NE(optstore2::getMessageCatalog(each.first), nullptr) << each.first;
}

} // namespace
