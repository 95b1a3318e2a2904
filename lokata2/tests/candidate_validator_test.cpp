#include "lk_search_validator.h"

#include "support/callbacks.h"
#include "support/message_directory.h"
#include "support/retriever.h"
#include "temp_tree.h"

#include <gmock/gmock.h>

namespace {

using namespace LK_2_13;
using testing::ElementsAre;
using testing::IsEmpty;

std::string verdictOf(ObjectPtr<IValidatedFile> const& validated) {
    if (auto const valid = validated->validFile())
        return "valid " + std::to_string(valid->confidence()) + " in " +
               std::to_string(valid->searchStep()) + (validated->invalidFile() ? " and not" : "");
    auto const invalid = validated->invalidFile();
    return "invalid " + std::to_string(invalid->severity()) + " " + invalid->errorMessage() +
           " in " + std::to_string(invalid->searchStep());
}

class CandidateValidator : public testing::Test {
protected:
    CandidateValidator() {
        m_policy.answer = [this](search_category_t category, unsigned int step) {
            m_askedPolicy = category * 0x100000U + step;
            return m_level;
        };
        m_retriever.known = IChecksumCalculator::create()->fromString(
            ctSha1, "A9993E364706816ABA3E25717850C26C9CD0D89D");
    }

    /// The verdict on a file in the cache step of a binary search.
    std::string judgeCached(std::string const& file, char const* searchedName = "/bin/x") {
        Validator validator(&m_user, &m_policy, scBinaryFiles, &m_retriever, searchedName);
        return verdictOf(validator.validateInternal(file.c_str(), ssCacheSearchDir));
    }

    TempTree m_tree;
    std::string m_file = m_tree.file("file", "abc");
    std::string m_other = m_tree.file("other", "abd");
    test::Policy m_policy;
    confidence_level_t m_level = clAccept;
    unsigned m_askedPolicy = 0;
    test::UserValidator m_user;
    test::Retriever m_retriever;
};

TEST_F(CandidateValidator, TakesTheVerdictOfTheUserAndElseThatOfThePolicy) {
    Validator validator(&m_user, &m_policy, scSourceFiles, nullptr, "");
    auto const judge = [&](validation_result_t verdict, int level) {
        m_user.answer = verdict;
        m_level = static_cast<confidence_level_t>(level);
        return verdictOf(validator.validateInternal(m_file.c_str(), 0x10000 | ssSystemDirs));
    };
    EXPECT_EQ(judge(vrValid, clReject), "valid 0 in 32");
    EXPECT_EQ(judge(vrInvalid, clAccept), "invalid 1 no match in 32");
    EXPECT_EQ(m_askedPolicy, 0U);
    EXPECT_EQ(judge(vrUndecided, clAccept), "valid 1 in 32");
    EXPECT_EQ(m_askedPolicy, 0x310020U);
    EXPECT_EQ(judge(static_cast<validation_result_t>(9), clAcceptLow), "valid 2 in 32");
    EXPECT_EQ(judge(vrUndecided, 7), "valid 2 in 32");
    EXPECT_EQ(judge(vrUndecided, clReject), "invalid 1 no match in 32");
    EXPECT_EQ(verdictOf(validator.validate(m_tree.root().c_str())), "invalid 2  in 64");
}

TEST_F(CandidateValidator, RejectsACachedFileOfAnotherContentBeforeAnyValidator) {
    test::MessageDirectory const messages;
    messages.putCatalog("lokata.climgr", R"({"%CannotMatchFileWithChecksumMismatch": "not {%1}"})");
    EXPECT_EQ(judgeCached(m_other), "invalid 0 not " + m_other + " in 128");
    EXPECT_THAT(m_user.asked, IsEmpty());
    optstore2::setMessageDirectory("");
    EXPECT_EQ(judgeCached(m_other, "\\bin\\x"),
              "invalid 0 %CannotMatchFileWithChecksumMismatch in 128");
    EXPECT_THAT(m_retriever.asked, ElementsAre("/bin/x", "/bin/x"));
}

TEST_F(CandidateValidator, AsksARetrieverThatFailsAgainAndOneThatKnowsOnce) {
    Validator validator(nullptr, &m_policy, scBinaryFiles, &m_retriever, "/x");
    auto const judge = [&](std::string const& file) {
        return verdictOf(validator.validateInternal(file.c_str(), ssCacheSearchDir));
    };
    m_retriever.result = 1;
    EXPECT_EQ(judge(m_other), "valid 1 in 128");
    m_retriever.result = 0;
    EXPECT_EQ(judge(m_other).substr(0, 9), "invalid 0");
    EXPECT_EQ(judge(m_file), "valid 1 in 128");
    EXPECT_THAT(m_retriever.asked, ElementsAre("/x", "/x"));
    EXPECT_EQ(judgeCached(m_other, "x"), "valid 1 in 128") << "no rooted name";
    EXPECT_EQ(verdictOf(validator.validateInternal(m_other.c_str(), ssSystemDirs)),
              "valid 1 in 32");
    m_retriever.known = nullptr;
    EXPECT_EQ(judgeCached(m_other), "valid 1 in 128");
}

} // namespace
