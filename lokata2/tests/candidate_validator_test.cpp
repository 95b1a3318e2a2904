#include "lk_search_validator.h"

#include "support/message_directory.h"
#include "support/temp_tree.h"

#include <gtest/gtest.h>

namespace {

using namespace LK_2_13;

class Policy final : public IConfidenceLevelPolicyCallback {
public:
    confidence_level_t getConfidenceLevel(search_category_t category, unsigned int step) override {
        askedCategory = category;
        askedStep = step;
        return answer;
    }

    confidence_level_t answer = clAccept;
    search_category_t askedCategory{};
    unsigned int askedStep = 0;
};

class UserValidator final : public IValidatorCallback {
public:
    validation_result_t validate(char const*, IErrorInfoContainer& errorInfo) override {
        ++asked;
        if (answer != vrValid) {
            errorInfo.setSeverity(svWarning);
            errorInfo.setErrorMessage("no match");
            errorInfo.setErrorMessage(nullptr);
        }
        return answer;
    }

    validation_result_t answer = vrUndecided;
    int asked = 0;
};

class Retriever final : public IFileRetriever {
public:
    int retrieveFile(char const*, char const*) override { return 1; }
    int retrieveChecksum(char const* name, ObjectPtr<IChecksum>& checksum) override {
        asked += std::string(name) + ";";
        checksum = known;
        return result;
    }
    char const* machineName() const override { return ""; }
    bool isLocalFile(std::string const&) override { return false; }

    ObjectPtr<IChecksum> known;
    int result = 0;
    std::string asked;
};

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
        m_retriever.known = IChecksumCalculator::create()->fromString(
            ctSha1, "A9993E364706816ABA3E25717850C26C9CD0D89D");
    }

    /// The verdict on a file in the cache step of a binary search.
    std::string judgeCached(std::string const& file, char const* searchedName = "/bin/x") {
        Validator validator(&m_user, &m_policy, scBinaryFiles, &m_retriever, searchedName);
        return verdictOf(validator.validateInternal(file.c_str(), ssCacheSearchDir));
    }

    test::TempTree m_tree;
    std::string m_file = m_tree.file("file", "abc");
    std::string m_other = m_tree.file("other", "abd");
    Policy m_policy;
    UserValidator m_user;
    Retriever m_retriever;
};

TEST_F(CandidateValidator, TakesTheVerdictOfTheUserAndElseThatOfThePolicy) {
    Validator validator(&m_user, &m_policy, scSourceFiles, nullptr, "");
    auto const judge = [&](validation_result_t verdict, int level) {
        m_user.answer = verdict;
        m_policy.answer = static_cast<confidence_level_t>(level);
        return verdictOf(validator.validateInternal(m_file.c_str(), 0x10000 | ssSystemDirs));
    };
    EXPECT_EQ(judge(vrValid, clReject), "valid 0 in 32");
    EXPECT_EQ(judge(vrInvalid, clAccept), "invalid 1 no match in 32");
    EXPECT_EQ(m_policy.askedStep, 0U);
    EXPECT_EQ(judge(vrUndecided, clAccept), "valid 1 in 32");
    EXPECT_EQ(m_policy.askedCategory, scSourceFiles);
    EXPECT_EQ(m_policy.askedStep, 0x10020U);
    EXPECT_EQ(judge(static_cast<validation_result_t>(9), clAcceptLow), "valid 2 in 32");
    EXPECT_EQ(judge(vrUndecided, 7), "valid 2 in 32");
    EXPECT_EQ(judge(vrUndecided, clReject), "invalid 1 no match in 32");
}

TEST_F(CandidateValidator, JudgesThePathOfACallbackAsTheUsersOwn) {
    Validator validator(nullptr, &m_policy, scBinaryFiles, nullptr, "");
    EXPECT_EQ(verdictOf(validator.validate(m_file.c_str())), "valid 1 in 64");
    EXPECT_EQ(verdictOf(validator.validate(m_tree.root().c_str())), "invalid 2  in 64");
}

TEST_F(CandidateValidator, RefusesACachedFileOfAnotherContentBeforeAnyValidator) {
    test::MessageDirectory const messages;
    messages.putCatalog("lokata.climgr", R"({"%CannotMatchFileWithChecksumMismatch": "not {%1}"})");
    EXPECT_EQ(judgeCached(m_other), "invalid 0 not " + m_other + " in 128");
    EXPECT_EQ(m_user.asked, 0);
    optstore2::setMessageDirectory("");
    EXPECT_EQ(judgeCached(m_other, "\\bin\\x"),
              "invalid 0 %CannotMatchFileWithChecksumMismatch in 128");
    EXPECT_EQ(m_retriever.asked, "/bin/x;/bin/x;");

    m_user.answer = vrInvalid;
    EXPECT_EQ(judgeCached(m_file), "invalid 1 no match in 128");
}

TEST_F(CandidateValidator, ComparesChecksumsOnlyOfRootedNamesInTheCacheStep) {
    EXPECT_EQ(judgeCached(m_other, "x"), "valid 1 in 128");
    Validator binary(nullptr, &m_policy, scBinaryFiles, &m_retriever, "/bin/x");
    EXPECT_EQ(verdictOf(binary.validateInternal(m_other.c_str(), ssSystemDirs)), "valid 1 in 32");
    Validator symbols(nullptr, &m_policy, scSymbolFiles, nullptr, "");
    EXPECT_EQ(verdictOf(symbols.validateInternal(m_other.c_str(), ssCacheSearchDir)),
              "valid 1 in 128");
    EXPECT_EQ(m_retriever.asked, "");
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
    EXPECT_EQ(m_retriever.asked, "/x;/x;");

    m_retriever.known = IChecksumCalculator::create()->fromString(ctCrc32, "0");
    EXPECT_EQ(judgeCached(m_other), "valid 1 in 128");
    m_retriever.known = ObjectPtr<IChecksum>();
    EXPECT_EQ(judgeCached(m_other), "valid 1 in 128");
}

} // namespace
