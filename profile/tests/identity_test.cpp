#include "profile/identity.h"
#include "profile/names.h"

#include "elf_builder.h"
#include "temp_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace lokata::profile::test {
namespace {

using LK_2_13::test::TempTree;
using ::testing::AllOf;
using ::testing::HasSubstr;
using namespace LK_2_13;

class Reason final : public IErrorInfoContainer {
public:
    void setSeverity(severity_t value) override { severity = value; }
    void setErrorMessage(char const* text) override { message = text; }

    severity_t severity = svNone;
    std::string message;
};

class IdentityTest : public ::testing::Test {
protected:
    /// The verdict; its reason lies in `m_reason`.
    validation_result_t verdict(IdentityValidator& validator, std::string const& path) {
        m_reason = Reason();
        validation_result_t const result = validator.validate(path.c_str(), m_reason);
        m_identity = validator.judgementOf(path)->identity;
        return result;
    }
    std::string symbols(char const* name, BuildId const& id) {
        return ElfBuilder().buildId(id).debugInfo().write(m_tree.path(name));
    }

    TempTree m_tree;
    ElfFactsCache m_cache;
    Reason m_reason;
    Identity m_identity;
    BuildId const m_id{1, 2, 3, 4, 5, 6, 7, 8};
    BuildId const m_otherId{9, 9, 9, 9};
};

TEST_F(IdentityTest, ABinaryIsProvenOrRefusedByItsBuildId) {
    BinaryValidator validator(m_cache, m_id);
    EXPECT_EQ(verdict(validator, ElfBuilder().buildId(m_id).write(m_tree.path("right"))), vrValid);
    EXPECT_EQ(m_identity.actual, "0102030405060708");

    EXPECT_EQ(verdict(validator, ElfBuilder().buildId(m_otherId).write(m_tree.path("rebuilt"))),
              vrInvalid);
    EXPECT_EQ(m_reason.severity, svError);
    EXPECT_THAT(m_reason.message, AllOf(HasSubstr("expected build-id 0102030405060708"),
                                        HasSubstr("found 09090909")));

    EXPECT_EQ(verdict(validator, ElfBuilder().debugInfo().write(m_tree.path("none"))), vrInvalid);
    EXPECT_THAT(m_reason.message, HasSubstr("found none"));
    EXPECT_EQ(verdict(validator, ElfBuilder().buildId(m_id).debugInfo().emptiedCode().write(
                                     m_tree.path("right.debug"))),
              vrInvalid);
    EXPECT_THAT(m_reason.message, HasSubstr("without the code"));
    EXPECT_EQ(verdict(validator, m_tree.file("text", "no ELF")), vrInvalid);
    EXPECT_THAT(m_reason.message, HasSubstr("not an ELF file"));
}

TEST_F(IdentityTest, WithoutARecordedBuildIdABinaryIsUndecided) {
    BinaryValidator validator(m_cache, {});
    EXPECT_EQ(verdict(validator, ElfBuilder().buildId(m_id).write(m_tree.path("x"))), vrUndecided);
    EXPECT_EQ(verdict(validator, m_tree.file("data", "no ELF")), vrUndecided);
}

TEST_F(IdentityTest, APackedKernelIsLeftToBeJudgedUnpacked) {
    BinaryValidator validator(m_cache, m_id);
    EXPECT_EQ(verdict(validator, m_tree.file("vmlinuz-6.1", "packed")), vrUndecided);
}

TEST_F(IdentityTest, AStrippedNamesakeOfTheSameBuildIdIsNoSymbolFile) {
    SymbolValidator validator(m_cache, {"", m_id, std::nullopt, 0});
    EXPECT_EQ(
        verdict(validator, ElfBuilder().buildId(m_id).symbolTable().write(m_tree.path("stripped"))),
        vrInvalid);
    EXPECT_THAT(m_reason.message, HasSubstr("a symbol table, but no debug information"));
    EXPECT_EQ(verdict(validator, symbols("full", m_id)), vrValid);
    EXPECT_EQ(m_identity.kind, IdentityKind::build_id);
}

TEST_F(IdentityTest, TheLinkChecksumDecidesWhereTheBuildIdDoesNot) {
    std::string const path = symbols("linked", m_otherId);
    std::uint32_t const crc = fileCrc32(path).value();
    for (BuildId const& owner : {BuildId(), m_id}) {
        SymbolValidator validator(m_cache, {"", owner, DebugLink{"linked", crc}, 0});
        EXPECT_EQ(verdict(validator, path), vrValid);
        EXPECT_EQ(m_identity.kind, IdentityKind::debug_link_crc);
    }
    SymbolValidator validator(m_cache, {"", {}, DebugLink{"linked", crc ^ 1U}, 0});
    EXPECT_EQ(verdict(validator, path), vrInvalid);
    EXPECT_THAT(m_reason.message, AllOf(HasSubstr("expected debuglink-crc " + m_identity.expected),
                                        HasSubstr("found " + m_identity.actual)));
    EXPECT_NE(m_identity.expected, m_identity.actual);
}

TEST_F(IdentityTest, ABuildIdOutranksTheLinkChecksum) {
    SymbolValidator validator(m_cache, {"", m_id, DebugLink{"x", 1}, 0});
    EXPECT_EQ(verdict(validator, symbols("repacked", m_id)), vrValid);
    EXPECT_EQ(verdict(validator, symbols("foreign", m_otherId)), vrInvalid);
    EXPECT_EQ(m_identity.kind, IdentityKind::build_id);
    EXPECT_THAT(m_reason.message, HasSubstr("found 09090909"));
}

TEST_F(IdentityTest, ABinaryWithoutAnyMarkVouchesOnlyForItself) {
    std::string const path = ElfBuilder().debugInfo().write(m_tree.path("self"));
    std::string const other = ElfBuilder().debugInfo().write(m_tree.path("other"));
    SymbolValidator validator(m_cache, {path, {}, std::nullopt, EM_X86_64});
    EXPECT_EQ(verdict(validator, m_tree.link("alias", path)), vrValid);
    EXPECT_EQ(m_identity.kind, IdentityKind::same_file);
    EXPECT_EQ(verdict(validator, other), vrUndecided);

    SymbolValidator arm(m_cache, {path, {}, std::nullopt, EM_AARCH64});
    EXPECT_EQ(verdict(arm, other), vrInvalid);
}

TEST_F(IdentityTest, ASupplementaryFileIsProvenByTheLinkedBuildId) {
    SupplementaryValidator validator(m_cache, m_id);
    EXPECT_EQ(verdict(validator, symbols("shared", m_id)), vrValid);
    EXPECT_EQ(verdict(validator, symbols("other", m_otherId)), vrInvalid);
}

TEST_F(IdentityTest, ASourceIsJudgedByMd5ThenByTimeAndSize) {
    std::string const path = m_tree.file("a.c", "abc");
    SourceIdentity expected;
    expected.md5 = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                    0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    expected.size = 4711;
    SourceValidator byMd5(expected);
    EXPECT_EQ(verdict(byMd5, path), vrValid);
    expected.md5->back() = 0;
    SourceValidator byOtherMd5(expected);
    EXPECT_EQ(verdict(byOtherMd5, path), vrInvalid);
    EXPECT_EQ(m_reason.severity, svWarning);
    EXPECT_THAT(m_reason.message, HasSubstr("found 900150983cd24fb0d6963f7d28e17f72"));

    expected.md5.reset();
    SourceValidator bySize(expected);
    EXPECT_EQ(verdict(bySize, path), vrInvalid);
    EXPECT_EQ(m_identity.expected, "4711 bytes");
    EXPECT_EQ(m_identity.actual, "3 bytes");

    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    SourceValidator byTime({std::nullopt, static_cast<std::uint64_t>(status.st_mtim.tv_sec), 3});
    EXPECT_EQ(verdict(byTime, path), vrValid);
    SourceValidator byNothing(SourceIdentity{});
    EXPECT_EQ(verdict(byNothing, path), vrUndecided);
}

} // namespace
} // namespace lokata::profile::test
