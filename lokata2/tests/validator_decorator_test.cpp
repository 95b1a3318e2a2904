#include "lk_validator_decorator.h"

#include "support/error_info.h"
#include "support/message_directory.h"
#include "support/unprivileged.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>

#include <sys/stat.h>

namespace {

using namespace LK_2_13;

class UserValidator : public IValidatorCallback {
public:
    validation_result_t validate(char const* fileName, IErrorInfoContainer& errorInfo) override {
        asked += fileName;
        errorInfo.setErrorMessage("from the user");
        return vrValid;
    }

    std::string asked;
};

class ValidatorDecorator : public testing::Test {
protected:
    ValidatorDecorator() {
        m_messages.putCommonCatalog(
            R"({"FileDoesNotExist": "{arg1} is missing", "FileIsNotRegular": "{arg1} is odd",
                "FileIsNotReadable": "{arg1} is closed", "FileIsDirectory": "a directory"})");
    }

    /// The verdict with what was written into the container.
    std::string judge(std::string const& file) {
        test::ErrorInfo info;
        std::string const verdict = std::to_string(m_decorator.validate(file.c_str(), info));
        return verdict + ", severity " + std::to_string(info.severity) + ", " + info.message;
    }

    test::TempTree m_tree;
    test::MessageDirectory m_messages;
    UserValidator m_user;
    ValidatorCallbackDecorator m_decorator{&m_user};
};

TEST_F(ValidatorDecorator, RefusesWhatIsNoUsableFileWithoutAskingTheUser) {
    std::string const fifo = m_tree.path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string const dangling = m_tree.link("dangling", "nothing");

    EXPECT_EQ(judge(m_tree.path("none")), "1, severity 0, " + m_tree.path("none") + " is missing");
    EXPECT_EQ(judge(dangling), "1, severity 0, " + dangling + " is missing");
    EXPECT_EQ(judge(fifo), "1, severity 0, " + fifo + " is odd");
    EXPECT_EQ(judge(m_tree.link("link", m_tree.dir("dir"))), "1, severity 2, ");
    EXPECT_EQ(m_user.asked, "");
    EXPECT_EQ(m_decorator.getFileIsDirErrMessage(), "a directory");
}

TEST_F(ValidatorDecorator, RefusesWhatItMayNotRead) {
    std::string const secret = m_tree.file("secret");
    std::string const inside = m_tree.file("closed/file");
    std::filesystem::permissions(secret, std::filesystem::perms::none);
    std::filesystem::permissions(m_tree.path("closed"), std::filesystem::perms::none);
    EXPECT_TRUE(test::holdsUnprivileged([&] {
        return judge(secret) == "1, severity 0, " + secret + " is closed" &&
               judge(inside) == "1, severity 0, " + inside + " is missing" && m_user.asked.empty();
    }));
    std::filesystem::permissions(m_tree.path("closed"), std::filesystem::perms::owner_all);
}

TEST_F(ValidatorDecorator, LeavesAReadableFileToTheUserOrUndecided) {
    std::string const link = m_tree.link("link", m_tree.file("file"));
    EXPECT_EQ(judge(link), "0, severity 2, from the user");
    EXPECT_EQ(m_user.asked, link);

    test::ErrorInfo info;
    auto const decorator = IValidatorCallbackDecorator::create(nullptr);
    EXPECT_EQ(decorator->validate(link.c_str(), info), vrUndecided);
    EXPECT_EQ(info.calls, "");
    EXPECT_EQ(decorator->validate(m_tree.path("none").c_str(), info), vrInvalid);
    EXPECT_EQ(info.calls, "severity message ");
    EXPECT_THROW(decorator->validate(nullptr, info), std::logic_error);
}

} // namespace
