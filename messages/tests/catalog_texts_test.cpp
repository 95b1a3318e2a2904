#include <optstore2/message_catalog.h>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

/// The keys of each catalogue, by the placeholder that their texts must have; empty for none.
std::map<std::string, std::map<std::string, std::vector<std::string>>> const g_keys = {
    {"lokata_common",
     {{"{arg1}",
       {"BinChecksumMismatch", "SymChecksumMismatch", "SrcChecksumMismatch",
        "ModificationTimeMismatch", "SizeMismatch", "SourceFileUpToDate", "FileIsNotReadable",
        "FileDoesNotExist", "InvalidSymbolFile", "FileArchMismatch", "FileIsNotABinaryModule",
        "BinFileReadingError", "BinFileUnsupportedFormat", "FileIsNotRegular"}},
      {"", {"FileIsDirectory", "NoDataForSourceFileValidation"}}}},
    {"lokata.climgr", {{"{%1}", {"%CannotMatchFileWithChecksumMismatch"}}}},
};

class Catalog : public testing::TestWithParam<char const*> {};

TEST_P(Catalog, HasEveryTextWithItsPlaceholderAndNoOther) {
    for (auto const& [name, keysByPlaceholder] : g_keys) {
        std::ifstream file(LOKATA_MESSAGES "/" + name + '.' + GetParam() + ".json");
        auto texts = nlohmann::json::parse(file).get<std::map<std::string, std::string>>();
        for (auto const& [placeholder, keys] : keysByPlaceholder) {
            for (std::string const& key : keys) {
                std::string text = texts[key];
                std::size_t const at = text.find(placeholder);
                ASSERT_NE(at, std::string::npos) << key;
                text.erase(at, placeholder.size());
                EXPECT_EQ(text.find_first_of("{}"), std::string::npos) << key;
                EXPECT_GT(text.size(), 15U) << key;
                texts.erase(key);
            }
        }
        EXPECT_TRUE(texts.empty()) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, Catalog, testing::Values("en", "de"),
                         [](auto const& language) { return std::string(language.param); });

TEST(Catalogs, AreFoundByALibraryThatRunsFromTheBuildTree) {
    for (auto const& each : g_keys)
        EXPECT_NE(optstore2::getMessageCatalog(each.first), nullptr) << each.first;
}

} // namespace
