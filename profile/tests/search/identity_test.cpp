#include "search/identity.h"

#include "support/search_fixture.h"

#include <sys/stat.h>

namespace lokata::profile::test {
namespace {

using namespace testing;
using namespace LK_2_13;

class IdentityTest : public SearchFixture {
protected:
    /// "valid", "undecided", or why not, behind how bad that is.
    std::string verdict(IdentityValidator& validator, std::string const& path) {
        ErrorInfoContainer reason;
        validation_result_t const result = validator.validate(path.c_str(), reason);
        m_identity = validator.verdictOn(path)->identity;
        if (result != vrInvalid)
            return result == vrValid ? "valid" : std::string("undecided") + reason.errorMessage();
        return (reason.severity() == svError ? "error: " : "warning: ") + reason.errorMessage();
    }

    ElfFactsCache m_cache;
    Identity m_identity;
};

TEST_F(IdentityTest, ABinaryIsProvenOrRejectedByItsBuildId) {
    BinaryValidator validator(m_cache, c_id);
    EXPECT_EQ(verdict(validator, binary("right", c_id)), "valid");
    EXPECT_EQ(m_identity.actual, "0102030405060708");

    EXPECT_THAT(verdict(validator, binary("rebuilt", c_otherId)),
                AllOf(StartsWith("error: "),
                      HasSubstr("is 09090909, not the recorded 0102030405060708,"),
                      Not(HasSubstr("checksum"))));

    EXPECT_THAT(verdict(validator, ElfBuilder().debugInfo().write(m_tree.path("none"))),
                MatchesRegex("error: .*has no build-id.*"));
    ElfBuilder debug;
    debug.buildId(c_id).debugInfo().emptiedCode();
    EXPECT_THAT(verdict(validator, debug.write(m_tree.path("right.debug"))),
                MatchesRegex("error: .*without the code.*"));
    EXPECT_THAT(verdict(validator, m_tree.file("text", "no ELF")),
                MatchesRegex("error: .*not an ELF file.*"));

    BinaryValidator nothingRecorded(m_cache, {});
    EXPECT_EQ(verdict(nothingRecorded, m_tree.path("right")), "undecided");
    EXPECT_THAT(verdict(nothingRecorded, m_tree.path("right.debug")),
                MatchesRegex("error: .*without the code.*"));
    EXPECT_EQ(verdict(nothingRecorded, m_tree.path("text")), "undecided");
}

TEST_F(IdentityTest, ADebugIdProvesTheBuildIdsThatBeginWithIt) {
    BuildId longer{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20};
    BinaryValidator validator(m_cache, {}, {nullptr, debugIdOf(longer)});
    EXPECT_EQ(verdict(validator, binary("right", longer)), "valid");
    EXPECT_EQ(m_identity.kind, IdentityKind::debug_id);
    EXPECT_EQ(m_identity.actual, "0102030405060708090a0b0c0d0e0f10");
    EXPECT_THAT(verdict(validator, binary("shorter", c_id)),
                MatchesRegex("error: .*begins with 01020304050607080+, not .*"));
    EXPECT_THAT(verdict(validator, ElfBuilder().write(m_tree.path("none"))),
                MatchesRegex("error: .*has no build-id.*"));

    BinaryValidator padded(m_cache, {}, {nullptr, debugIdOf(c_id)});
    EXPECT_EQ(verdict(padded, m_tree.path("shorter")), "valid");
    BinaryValidator known(m_cache, c_id, {nullptr, debugIdOf(longer)});
    EXPECT_EQ(verdict(known, m_tree.path("shorter")), "valid") << "the whole build-id counts";
}

TEST_F(IdentityTest, ADamagedFileOfTheRightBuildIdIsRejectedByEveryJudge) {
    std::string const whole = symbols("whole", c_id);
    std::string const damaged = m_tree.file("damaged", contentOf(whole));
    auto const size = std::filesystem::file_size(damaged);
    std::filesystem::resize_file(damaged, size - 1);

    BinaryValidator binary(m_cache, c_id);
    BinaryValidator nothingRecorded(m_cache, {});
    SymbolValidator symbol(m_cache, {"", c_id, DebugLink{"x", fileCrc32(whole).value()}, 0});
    SymbolValidator itself(m_cache, {damaged, {}, std::nullopt, 0});
    SupplementaryValidator supplementary(m_cache, c_id);
    for (IdentityValidator* const validator : std::initializer_list<IdentityValidator*>{
             &binary, &nothingRecorded, &symbol, &itself, &supplementary}) {
        EXPECT_THAT(verdict(*validator, damaged),
                    AllOf(StartsWith("error: "), HasSubstr(std::to_string(size)),
                          HasSubstr(std::to_string(size - 1))));
    }
    std::string const odd = ElfBuilder()
                                .debugInfo()
                                .section(".strtab", "no strings", SHT_STRTAB)
                                .write(m_tree.path("odd"));
    SymbolValidator linked(m_cache, {"", {}, DebugLink{"x", fileCrc32(odd).value()}, 0});
    EXPECT_EQ(verdict(linked, odd), "valid") << "nothing of it is missing";
}

TEST_F(IdentityTest, WhatIsNoStoredFileOrAGiantIsRejectedUnread) {
    std::string const giant = m_tree.file("giant.c", "int main;");
    std::filesystem::resize_file(giant, std::uint64_t{10} << 30);
    std::string const pipe = m_tree.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    SourceIdentity recorded;
    recorded.md5.emplace();
    SourceValidator byMd5(recorded);
    SourceValidator undecided({});
    BinaryValidator binary(m_cache, {});
    for (std::string const& path : {pipe, std::string("/proc/self/mem"), std::string("/dev/zero")})
        for (IdentityValidator* const validator :
             std::initializer_list<IdentityValidator*>{&byMd5, &undecided, &binary})
            EXPECT_THAT(verdict(*validator, path),
                        ContainsRegex("^error: .*(not a regular file|the kernel makes it up)"))
                << path;
    EXPECT_THAT(verdict(byMd5, giant), MatchesRegex("error: .*10737418240.*"));
    EXPECT_EQ(verdict(binary, giant), "undecided") << "no more than its start is read";
}

TEST_F(IdentityTest, AStrippedNamesakeOfTheSameBuildIdIsNoSymbolFile) {
    SymbolValidator validator(m_cache, {"", c_id, std::nullopt, 0});
    ElfBuilder stripped;
    EXPECT_THAT(verdict(validator, stripped.buildId(c_id).symbolTable().write(m_tree.path("x"))),
                MatchesRegex("error: .*a symbol table, but no debug information.*"));
    stripped.section(".debug_info", std::string(64, '\0'));
    EXPECT_THAT(verdict(validator, stripped.write(m_tree.path("zeros"))),
                MatchesRegex("error: .*damaged.*"));
    EXPECT_EQ(verdict(validator, symbols("full", c_id)), "valid");
    EXPECT_EQ(m_identity.kind, IdentityKind::build_id);
}

TEST_F(IdentityTest, TheLinkChecksumDecidesWhereTheBuildIdDoesNot) {
    std::string const path = ElfBuilder().debugInfo().write(m_tree.path("linked"));
    std::string const ofOther = symbols("other", c_otherId);
    std::uint32_t const crc = fileCrc32(path).value();
    DebugLink const toOther{"other", fileCrc32(ofOther).value()};
    for (BuildId const& owner : {BuildId(), c_id}) {
        SymbolValidator validator(m_cache, {"", owner, DebugLink{"linked", crc}, 0});
        EXPECT_EQ(verdict(validator, path), "valid");
        EXPECT_EQ(m_identity.kind, IdentityKind::debug_link_crc);
    }
    SymbolValidator contradicted(m_cache, {"", c_id, toOther, 0});
    EXPECT_THAT(verdict(contradicted, ofOther), MatchesRegex("error: .*build-id.*09090909.*"));
    SymbolValidator validator(m_cache, {"", {}, DebugLink{"linked", crc ^ 1U}, 0});
    std::string const reason = verdict(validator, path);
    EXPECT_THAT(reason, MatchesRegex("error: .*is " + m_identity.actual + ", not " +
                                     m_identity.expected + ".*"));
    EXPECT_NE(m_identity.expected, m_identity.actual);
}

TEST_F(IdentityTest, ABuildIdOutranksTheLinkChecksum) {
    SymbolValidator validator(m_cache, {"", c_id, DebugLink{"x", 1}, 0});
    EXPECT_EQ(verdict(validator, symbols("repacked", c_id)), "valid");
    EXPECT_THAT(verdict(validator, symbols("foreign", c_otherId)), StartsWith("error: "));
    EXPECT_EQ(m_identity.kind, IdentityKind::build_id);
}

TEST_F(IdentityTest, ABinaryWithoutAnyMarkVouchesOnlyForItself) {
    std::string const path = ElfBuilder().debugInfo().write(m_tree.path("self"));
    std::string const other = ElfBuilder().debugInfo().write(m_tree.path("other"));
    SymbolValidator validator(m_cache, {path, {}, std::nullopt, EM_X86_64});
    EXPECT_EQ(verdict(validator, m_tree.link("alias", path)), "valid");
    EXPECT_EQ(m_identity.kind, IdentityKind::same_file);
    EXPECT_EQ(verdict(validator, other), "undecided");
    SymbolValidator found(m_cache, symbolOwner(m_cache, path, {}));
    EXPECT_EQ(verdict(found, other), "undecided");
    EXPECT_THAT(verdict(found, symbols("foreign", c_otherId)),
                MatchesRegex("error: .*09090909.*which has none.*"));

    SymbolValidator arm(m_cache, {path, {}, std::nullopt, EM_AARCH64});
    EXPECT_THAT(verdict(arm, other), StartsWith("error: "));
}

TEST_F(IdentityTest, ASupplementaryFileIsProvenByTheLinkedBuildId) {
    SupplementaryValidator validator(m_cache, c_id);
    EXPECT_EQ(verdict(validator, symbols("shared", c_id)), "valid");
    EXPECT_THAT(verdict(validator, symbols("other", c_otherId)), StartsWith("error: "));
    EXPECT_THAT(verdict(validator, binary("stripped", c_id)),
                MatchesRegex("error: .*no debug information.*"));
    ElfBuilder strings;
    strings.buildId(c_id).section(".debug_str", "shared");
    EXPECT_EQ(verdict(validator, strings.write(m_tree.path("strings"))), "valid");
}

TEST_F(IdentityTest, ASourceIsJudgedByMd5ThenByTimeAndSize) {
    std::string const path = m_tree.file("a.c", "abc");
    auto const judged = [&](SourceIdentity const& expected) {
        SourceValidator validator(expected);
        return verdict(validator, path);
    };
    SourceIdentity expected;
    expected.md5 = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                    0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    expected.size = 4711;
    EXPECT_EQ(judged(expected), "valid");
    expected.md5->back() = 0;
    EXPECT_THAT(judged(expected),
                AllOf(StartsWith("warning: "), HasSubstr("is 900150983cd24fb0d6963f7d28e17f72,")));

    expected.md5.reset();
    EXPECT_THAT(judged(expected), MatchesRegex("warning: .*is 3 bytes, not the recorded 4711,.*"));
    EXPECT_EQ(m_identity.expected + ", " + m_identity.actual, "4711 bytes, 3 bytes");

    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(judged({std::nullopt, static_cast<std::uint64_t>(status.st_mtim.tv_sec), 3}),
              "valid");
    EXPECT_EQ(m_identity.expected, std::to_string(status.st_mtim.tv_sec) + " s, 3 bytes");
    EXPECT_EQ(judged({std::nullopt, 0, 3}), "undecided") << "many versions are of one size";
    EXPECT_EQ(judged({std::nullopt, static_cast<std::uint64_t>(status.st_mtim.tv_sec), 0}),
              "undecided");
    EXPECT_EQ(judged({}), "undecided");
}

TEST_F(IdentityTest, ASourceThatIsNewerThanItsBinaryIsProvenByItsMd5Only) {
    std::string const source = m_tree.file("a.c", "abc");
    std::string const program = binary("program", c_id);
    auto const written = std::filesystem::last_write_time(source);
    SourceIdentity recorded;
    struct stat status {};
    ASSERT_EQ(::stat(source.c_str(), &status), 0);
    recorded.modification_time = static_cast<std::uint64_t>(status.st_mtim.tv_sec);
    recorded.size = 3;
    SourceIdentity byMd5;
    byMd5.md5 = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                 0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    std::string const warning = "undecided\"" + source + "\" was changed after \"" + program;
    for (int const hours : {-1, 1}) {
        std::filesystem::last_write_time(program, written + std::chrono::hours(hours));
        SourceValidator same(recorded, program);
        SourceValidator unknown({}, program);
        SourceValidator whole(byMd5, program);
        EXPECT_THAT(verdict(same, source), StartsWith(hours < 0 ? warning : "valid"));
        EXPECT_THAT(verdict(unknown, source), StartsWith(hours < 0 ? warning : "undecided"));
        EXPECT_EQ(verdict(whole, source), "valid");
    }
}

} // namespace
} // namespace lokata::profile::test
