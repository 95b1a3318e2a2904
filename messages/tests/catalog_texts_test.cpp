#include <optstore2/message_catalog.h>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>

namespace {

using texts_t = std::map<std::string, std::string>;

/// The placeholder that the text of each key must have; empty for a text that gets no argument.
std::map<std::string, texts_t> const g_placeholders = {
    {"lokata_common",
     {{"BinChecksumMismatch", "{arg1}"},
      {"SymChecksumMismatch", "{arg1}"},
      {"SrcChecksumMismatch", "{arg1}"},
      {"ModificationTimeMismatch", "{arg1}"},
      {"SizeMismatch", "{arg1}"},
      {"SourceFileUpToDate", "{arg1}"},
      {"FileIsDirectory", ""},
      {"FileIsNotReadable", "{arg1}"},
      {"FileDoesNotExist", "{arg1}"},
      {"InvalidSymbolFile", "{arg1}"},
      {"FileArchMismatch", "{arg1}"},
      {"FileIsNotABinaryModule", "{arg1}"},
      {"BinFileReadingError", "{arg1}"},
      {"BinFileUnsupportedFormat", "{arg1}"},
      {"FileIsNotRegular", "{arg1}"},
      {"NoDataForSourceFileValidation", ""}}},
    {"lokata.climgr", {{"%CannotMatchFileWithChecksumMismatch", "{%1}"}}},
};

class Catalog : public testing::TestWithParam<char const*> {};

TEST_P(Catalog, HasEveryTextWithItsPlaceholderAndNoOther) {
    for (auto const& [name, placeholders] : g_placeholders) {
        std::ifstream file(LOKATA_MESSAGES "/" + name + '.' + GetParam() + ".json");
        auto const texts = nlohmann::json::parse(file).get<texts_t>();
        EXPECT_EQ(texts.size(), placeholders.size()) << name;
        for (auto const& [key, placeholder] : placeholders) {
            ASSERT_EQ(texts.count(key), 1U) << key;
            std::string text = texts.at(key);
            if (!placeholder.empty()) {
                std::size_t const at = text.find(placeholder);
                ASSERT_NE(at, std::string::npos) << key;
                text.erase(at, placeholder.size());
            }
            EXPECT_EQ(text.find_first_of("{}"), std::string::npos) << key;
            EXPECT_GT(text.size(), 15U) << key;
        }
    }
}

TEST_P(Catalog, ReadsWellWhereTheFileNameIsEmpty) {
    std::ifstream file(LOKATA_MESSAGES "/lokata_common." + std::string(GetParam()) + ".json");
    auto const texts = nlohmann::json::parse(file).get<texts_t>();
    for (char const* key : {"ModificationTimeMismatch", "SizeMismatch", "SourceFileUpToDate"}) {
        std::string const& text = texts.at(key);
        EXPECT_EQ(text.find(". {arg1}"), text.size() - 8) << key;
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, Catalog, testing::Values("en", "de"),
                         [](auto const& language) { return std::string(language.param); });

TEST(Catalogs, AreFoundByALibraryThatRunsFromTheBuildTree) {
    for (auto const& [name, placeholders] : g_placeholders) {
        auto const* catalog = optstore2::getMessageCatalog(name);
        ASSERT_NE(catalog, nullptr) << name;
        EXPECT_EQ(catalog->size(), placeholders.size());
    }
}

} // namespace
