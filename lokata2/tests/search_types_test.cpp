#include "lk_search_types.h"

#include <gtest/gtest.h>

namespace {

using namespace LK_2_13;

TEST(SearchTypes, ResultsKeepTheCanonicalNameAndTakeNullAsEmpty) {
    EXPECT_STREQ(ValidFile("/a/./b/../c/", cfPolicyLow, ssSystemDirs).name(), "/a/c");
    EXPECT_STREQ(ValidFile(nullptr, cfPolicyLow, ssSystemDirs).name(), "");
    InvalidFile const invalid("C:\\a\\.\\b", svError, nullptr, ssAskUser);
    EXPECT_STREQ(invalid.name(), "C:/a/b");
    EXPECT_STREQ(invalid.errorMessage(), "");
}

TEST(SearchTypes, AFileForcedValidKeepsItsStepAtTheHighestConfidence) {
    ObjectPtr<IInvalidFile> invalid = new InvalidFile("/a", svError, "broken", ssSystemDirs);
    ObjectPtr<IValidFile> const forced = invalid->forceTreatAsValid();
    invalid = ObjectPtr<IInvalidFile>();
    EXPECT_STREQ(forced->name(), "/a");
    EXPECT_EQ(forced->confidence(), cfValidated);
    EXPECT_EQ(forced->searchStep(), ssSystemDirs);
}

TEST(SearchTypes, DumpNamesSingleStepsAndAllTexts) {
    EXPECT_EQ(dump(ssAroundBinaryLookup), "ssAroundBinaryLookup");
    EXPECT_EQ(dump(ssCacheSearchDir), "ssCacheSearchDir");
    EXPECT_EQ(dump(static_cast<search_step_t>(3)), "Unknown search step");

    StringContainer container;
    EXPECT_EQ(dump(container), "[StringContainer: m_list = ]");
    for (char const* const text : {"b", static_cast<char const*>(nullptr), "", "b"})
        container.add(text);
    EXPECT_EQ(dump(container), "[StringContainer: m_list = b, , b, ]");
}

} // namespace
