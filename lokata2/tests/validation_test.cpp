#include "lk_validator_decorator.h"

#include <lokata2/content_validators.h>

#include "on_threads.h"
#include "support/callbacks.h"
#include "support/message_directory.h"
#include "unprivileged.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

using namespace LK_2_13;

/// What a validator said, in its order.
class ErrorInfo final : public IErrorInfoContainer {
public:
    void setSeverity(severity_t value) override { said += ", severity " + std::to_string(value); }
    void setErrorMessage(char const* text) override {
        said.append(", ").append(text != nullptr ? text : "null");
    }

    std::string said;
};

constexpr std::uint64_t c_time0 = 1000000000;

class Validators : public testing::Test {
protected:
    std::string fileOf(std::string_view name, std::string_view content, std::int64_t seconds) {
        std::string file = m_tree.file(name, content);
        timespec const times[] = {{seconds, 0}, {seconds, 999}};
        EXPECT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
        return file;
    }

    /// The verdict with what was said of it.
    std::string judge(IValidatorCallback& validator, std::string const& file) {
        ErrorInfo info;
        return std::to_string(validator.validate(file.c_str(), info)) + info.said;
    }

    static constexpr char const* c_isValid = "0";
    static constexpr char const* c_isUndecided = "2";

    TempTree m_tree;
    test::MessageDirectory m_messages;
};

TEST_F(Validators, CompareAChecksumOfAnyCase) {
    std::string const file = m_tree.file("file", "one");
    auto const right =
        IChecksumCalculator::create()->fromString(ctMd5, "F97C5D29941BFB1B2FDAB0874906AB82");
    m_messages.putCommonCatalog(R"({"BinChecksumMismatch": "bin {arg1}",
        "SymChecksumMismatch": "sym {arg1}", "SrcChecksumMismatch": "src {arg1}"})");
    std::string const other = m_tree.file("other", "two");
    for (auto const& [category, verdict] : {std::pair(scBinaryFiles, "1, severity 0, bin "),
                                            std::pair(scSymbolFiles, "1, severity 0, sym "),
                                            std::pair(scSourceFiles, "1, severity 1, src ")}) {
        ChecksumValidator same(category, right);
        EXPECT_EQ(judge(same, file), c_isValid);
        EXPECT_EQ(judge(same, m_tree.path("missing")), c_isUndecided);
        EXPECT_EQ(judge(same, other), verdict + other);
    }
    ChecksumValidator anything(scAllFiles, right);
    EXPECT_EQ(judge(anything, other), "1, %ChecksumMismatch");
    ChecksumValidator nothing(scBinaryFiles, nullptr);
    EXPECT_EQ(judge(nothing, file), c_isUndecided);
    EXPECT_FALSE(IChecksumCalculator::create()->fromString(ctMd5, nullptr));
}

TEST_F(Validators, CompareWhatIsRecordedOfTimeAndSize) {
    std::string const file = fileOf("file", "1234", c_time0);
    struct {
        std::uint64_t time, size;
        char const* verdict;
    } const cases[] = {
        {0, 0, c_isUndecided},
        {0, 4, c_isValid},
        {c_time0, 0, c_isValid},
        {c_time0 - 1, 5, "1, time  differs, severity 1"},
        {c_time0, 5, "1, size  differs, severity 1"},
    };
    m_messages.putCommonCatalog(R"({"ModificationTimeMismatch": "time {arg1} differs",
                                    "SizeMismatch": "size {arg1} differs"})");
    for (auto const& c : cases) {
        SourceFileTimeAndSizeMatchValidator validator(c.time, c.size);
        EXPECT_EQ(judge(validator, file), c.verdict) << c.time << " and " << c.size;
    }
    SourceFileTimeAndSizeMatchValidator beforeTheEpoch(static_cast<std::uint64_t>(-5), 0);
    EXPECT_EQ(judge(beforeTheEpoch, fileOf("far", "", (std::int64_t{1} << 32) - 5)), c_isValid)
        << "times are signed 32 bits";
}

TEST_F(Validators, SpareTheTimeButNotTheSizeBelowExceptionDirectories) {
    std::string const file = fileOf("top/sub/file", "1234", c_time0);
    std::string missing = m_tree.path("missing");
    std::string top = m_tree.link("link", m_tree.path("top")) + "/.";
    SourceFileTimeAndSizeMatchValidator validator(c_time0 + 1, 4);
    validator.addTimeCheckExceptionDir(missing);
    EXPECT_EQ(judge(validator, file), "1, %ModificationTimeOrSizeMismatch, severity 1");
    validator.addTimeCheckExceptionDir(top);
    EXPECT_EQ(judge(validator, file), c_isValid);
    EXPECT_EQ(judge(validator, fileOf("top/other", "12345", c_time0)),
              "1, %ModificationTimeOrSizeMismatch, severity 1");
}

TEST_F(Validators, RejectAFileThatIsNewerThanItsReference) {
    std::string const reference = fileOf("reference", "", c_time0);
    std::string const newer = fileOf("sub/newer", "", c_time0 + 1);
    SourceFileUpToDateCheckValidator validator(reference.c_str(), true);
    SourceFileUpToDateCheckValidator undecided(reference.c_str(), false);
    EXPECT_EQ(judge(validator, fileOf("same", "", c_time0)), c_isValid);
    EXPECT_EQ(judge(undecided, fileOf("same", "", c_time0)), c_isUndecided);
    EXPECT_EQ(judge(validator, m_tree.path("missing")), c_isValid);
    EXPECT_EQ(judge(undecided, newer), "1, %SourceFileUpToDate, severity 1");

    SourceFileUpToDateCheckValidator lacking(m_tree.path("late").c_str(), true);
    m_tree.file("late");
    m_messages.putCommonCatalog(R"({"NoDataForSourceFileValidation": "no data"})");
    EXPECT_EQ(judge(lacking, newer), "2, no data, severity 1") << "a late reference is none";
}

class ValidatorDecorator : public Validators {
protected:
    ValidatorDecorator() {
        m_messages.putCommonCatalog(
            R"({"FileDoesNotExist": "{arg1} is missing", "FileIsNotRegular": "{arg1} is odd",
                "FileIsNotReadable": "{arg1} is closed", "FileIsDirectory": "a directory"})");
    }

    test::UserValidator m_user;
    ValidatorCallbackDecorator m_decorator{&m_user};
};

TEST_F(ValidatorDecorator, RejectsWhatIsNoUsableFileWithoutAskingTheUser) {
    std::string const fifo = m_tree.path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string const dangling = m_tree.link("dangling", "nothing");

    EXPECT_EQ(judge(m_decorator, m_tree.path("none")),
              "1, severity 0, " + m_tree.path("none") + " is missing");
    EXPECT_EQ(judge(m_decorator, dangling), "1, severity 0, " + dangling + " is missing");
    EXPECT_EQ(judge(m_decorator, fifo), "1, severity 0, " + fifo + " is odd");
    EXPECT_EQ(judge(m_decorator, m_tree.link("link", m_tree.dir("dir"))), "1");
    EXPECT_TRUE(m_user.asked.empty());
    EXPECT_EQ(m_decorator.getFileIsDirErrMessage(), "a directory");
}

TEST_F(ValidatorDecorator, RejectsWhatItMayNotRead) {
    std::string const secret = m_tree.file("secret");
    std::string const inside = m_tree.file("closed/file");
    std::filesystem::permissions(secret, std::filesystem::perms::none);
    std::filesystem::permissions(m_tree.path("closed"), std::filesystem::perms::none);
    EXPECT_TRUE(holdsUnprivileged([&] {
        return judge(m_decorator, secret) == "1, severity 0, " + secret + " is closed" &&
               judge(m_decorator, inside) == "1, severity 0, " + inside + " is missing" &&
               m_user.asked.empty();
    }));
    std::filesystem::permissions(m_tree.path("closed"), std::filesystem::perms::owner_all);
}

TEST_F(ValidatorDecorator, LeavesAReadableFileToTheUserOrUndecided) {
    std::string const link = m_tree.link("link", m_tree.file("file"));
    EXPECT_EQ(judge(m_decorator, link), "2, severity 1, no match, null");
    EXPECT_EQ(m_user.asked, std::vector{link});

    auto const decorator = IValidatorCallbackDecorator::create(nullptr);
    EXPECT_EQ(judge(*decorator, link), c_isUndecided);
    EXPECT_EQ(judge(*decorator, m_tree.path("none")).substr(0, 13), "1, severity 0");
    ErrorInfo info;
    EXPECT_THROW(decorator->validate(nullptr, info), std::logic_error);
}

std::string calculate(std::string const& file, checksum_type_t type) {
    auto const sum = IChecksumCalculator::create()->calculateChecksum(file.c_str(), type);
    return sum ? sum->value() : "none";
}

TEST(Checksum, IsThatOfTheWholeContentOrNone) {
    TempTree const tree;
    std::string const file = tree.file("blocks", std::string(10000, 'x'));
    EXPECT_EQ(calculate(file, ctMd5), "b567fcb68d8555227123ab87e255872e");
    EXPECT_EQ(calculate(file, ctSha1), "f8c5cde791c5056cf515881e701c8a9ecb439a75");
    EXPECT_EQ(calculate(tree.file("empty"), ctMd5), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(calculate(tree.path("missing"), ctMd5), "none");
    EXPECT_EQ(calculate(tree.root(), ctSha1), "none");
    EXPECT_EQ(calculate(file, ctCrc32), "none");
    EXPECT_FALSE(IChecksumCalculator::create()->calculateChecksum(nullptr, ctMd5));
    std::filesystem::permissions(file, std::filesystem::perms::none);
    EXPECT_TRUE(holdsUnprivileged([&] { return calculate(file, ctMd5) == "none"; }));
}

TEST(ChecksumCalculator, IsOneAndNeverHandedOutWhileItGoesOnAnotherThread) {
    {
        auto const first = IChecksumCalculator::create();
        EXPECT_EQ(first.get(), IChecksumCalculator::create().get());
    }
    onThreads(4, [](int) {
        for (int round = 0; round < 200; ++round)
            EXPECT_TRUE(IChecksumCalculator::create()->fromString(ctMd5, "ab"));
    });
}

} // namespace
