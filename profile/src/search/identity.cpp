#include "search/identity.h"

#include "facts/foreign_file.h"
#include "facts/md5.h"
#include "facts/stamp_of.h"
#include "read/names.h"
#include "read/reasons.h"
#include "search/packed_kernel.h"

#include <lokata/profile/kernel_cache.h>

#include <lokata2/checksum.h>
#include <lokata2/content_validators.h>
#include <lokata2/messages.h>
#include <lokata2/utils.h>
#include <toolbelt2/hex.h>
#include <toolbelt2/text.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <system_error>

#include <sys/stat.h>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

std::string crcText(std::uint32_t crc) {
    char text[9];
    std::snprintf(text, sizeof text, "%08" PRIx32, crc);
    return text;
}

void reject(JudgedCandidate& candidate, severity_t severity, std::string message) {
    candidate.result = vrInvalid;
    candidate.severity = severity;
    candidate.message = std::move(message);
}

void rejectUnusable(JudgedCandidate& candidate, std::string const& path, std::string const& why) {
    reject(candidate, svError, reasonText(ReasonKey::file_unusable, {path, why}));
}

bool agrees(Identity const& identity) {
    return identity.expected == identity.actual;
}

/// `mismatch` is the reason for another value than the expected one, `missing` for none.
void compare(JudgedCandidate& candidate, Identity identity, ReasonKey mismatch, ReasonKey missing,
             std::string const& path) {
    candidate.identity = std::move(identity);
    auto const& [kind, expected, actual] = candidate.identity;
    if (agrees(candidate.identity))
        candidate.result = vrValid;
    else if (actual.empty())
        reject(candidate, svError, reasonText(missing, {path, expected}));
    else
        reject(candidate, svError, reasonText(mismatch, {path, actual, expected}));
}

bool sameFile(std::string const& a, std::string const& b) {
    std::error_code error;
    return std::filesystem::equivalent(a, b, error);
}

} // namespace

validation_result_t IdentityValidator::validate(char const* fileName,
                                                IErrorInfoContainer& errorInfo) {
    // Several steps may meet one file, and a verdict does not change within a search.
    if (JudgedCandidate const* const known = verdictOn(fileName))
        return tell(*known, errorInfo);
    JudgedCandidate candidate;
    candidate.path = utils::getCanonicalName(fileName, false);
    candidate.stamp = stampOf(std::string(fileName));
    if (m_trees != nullptr && m_trees->leadsOut(fileName)) {
        reject(candidate, svError, reasonText(ReasonKey::leads_out, {fileName}));
    } else {
        judge(fileName, candidate);
        if (m_copies != nullptr)
            m_copies->check(fileName, m_own, candidate);
    }
    m_judged.push_back(std::move(candidate));
    return tell(m_judged.back(), errorInfo);
}

validation_result_t IdentityValidator::tell(JudgedCandidate const& verdict,
                                            IErrorInfoContainer& errorInfo) {
    if (verdict.result == vrInvalid || !verdict.message.empty()) {
        errorInfo.setSeverity(verdict.severity);
        errorInfo.setErrorMessage(verdict.message.c_str());
    }
    return verdict.result;
}

JudgedCandidate const* IdentityValidator::verdictOn(std::string_view canonicalPath) const {
    auto const found =
        std::find_if(m_judged.rbegin(), m_judged.rend(), [&](JudgedCandidate const& candidate) {
            return candidate.path == canonicalPath;
        });
    return found == m_judged.rend() ? nullptr : &*found;
}

UnpackedCopy const* IdentityValidator::copyOf(std::string const& canonicalPath) const {
    auto const found =
        std::find_if(m_copiesMade.rbegin(), m_copiesMade.rend(), [&](UnpackedCopy const& copy) {
            return copy.packed == canonicalPath || copy.path == canonicalPath;
        });
    return found == m_copiesMade.rend() ? nullptr : &*found;
}

IdentityValidator::Content IdentityValidator::contentOf(ElfFactsCache& cache,
                                                        std::string const& path,
                                                        std::optional<FileStamp> const& stamp) {
    auto facts = cache.facts(path, stamp);
    if (!isPackedKernel(path, *facts))
        return {path, std::move(facts), ""};
    UnpackedKernel const copy = unpackedKernel(path);
    if (copy.path.empty())
        return {path, std::move(facts), copy.error};
    m_copiesMade.push_back({utils::getCanonicalName(path.c_str(), false),
                            utils::getCanonicalName(copy.path.c_str(), false), stampOf(copy.path)});
    return {copy.path, cache.facts(copy.path), ""};
}

BinaryValidator::BinaryValidator(ElfFactsCache& cache, BuildId expected, BinaryClues const& clues)
    : m_cache(cache), m_expected(std::move(expected)), m_clues(clues) {}

Identity BinaryValidator::identityOf(BuildId const& actual) const {
    if (!isByDebugId())
        return {IdentityKind::build_id, toHex(m_expected), toHex(actual)};
    return {IdentityKind::debug_id, toHex(*m_clues.debug_id),
            actual.empty() ? "" : toHex(debugIdOf(actual))};
}

/// A copy of the mapped file lies elsewhere and has its build-id, where that is known.
void BinaryValidator::judgeAsMapped(std::string const& path, JudgedCandidate& candidate) const {
    auto const match = m_clues.live->compare(path, candidate.identity);
    if (match == LiveFile::Match::same)
        candidate.result = vrValid;
    else if (match == LiveFile::Match::other && m_expected.empty())
        reject(candidate, svError,
               reasonText(ReasonKey::mapped_file_mismatch,
                          {path, candidate.identity.actual, candidate.identity.expected}));
}

void BinaryValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    if (m_clues.live != nullptr)
        judgeAsMapped(path, candidate);
    Content const content = contentOf(m_cache, path, candidate.stamp);
    ElfFacts const& facts = *content.facts;
    // A file can be written anew under the numbers that the process mapped.
    bool const isAsMapped = candidate.result == vrValid && facts.build_id == m_expected;
    bool const isIdKnown = !m_expected.empty() || m_clues.debug_id;
    if (!isIdKnown || isAsMapped) {
        if (candidate.result != vrInvalid && (!facts.is_file || !facts.damage.empty()))
            rejectUnusable(candidate, path, facts.error + facts.damage);
        else if (candidate.result != vrValid && facts.lacks_code)
            reject(candidate, svError, reasonText(ReasonKey::code_missing, {path}));
        return;
    }
    candidate.identity = identityOf(facts.build_id);
    std::string const fault = content.error.empty() ? facts.error + facts.damage : content.error;
    if (!fault.empty())
        return rejectUnusable(candidate, path, fault);
    compare(candidate, candidate.identity,
            isByDebugId() ? ReasonKey::debug_id_mismatch : ReasonKey::build_id_mismatch,
            isByDebugId() ? ReasonKey::debug_id_missing : ReasonKey::build_id_missing, path);
    if (candidate.result == vrValid && facts.lacks_code)
        reject(candidate, svError, reasonText(ReasonKey::code_missing, {path}));
}

SymbolOwner symbolOwner(ElfFactsCache& cache, std::string const& binary, BuildId const& recorded) {
    SymbolOwner owner{binary, recorded, std::nullopt, 0, false};
    if (binary.empty())
        return owner;
    auto const facts = cache.facts(binary);
    owner.debug_link = facts->debug_link;
    owner.machine = facts->machine;
    if (owner.build_id.empty())
        owner.build_id = facts->build_id;
    owner.lacks_build_id = owner.build_id.empty() && facts->error.empty() && facts->damage.empty();
    return owner;
}

SymbolValidator::SymbolValidator(ElfFactsCache& cache, SymbolOwner owner)
    : m_cache(cache), m_owner(std::move(owner)) {}

void SymbolValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    judge(contentOf(m_cache, path, candidate.stamp), path, candidate);
}

void SymbolValidator::judge(Content const& content, std::string const& path,
                            JudgedCandidate& candidate) const {
    auto const& facts = content.facts;
    if (!facts->error.empty())
        return rejectUnusable(candidate, path,
                              content.error.empty() ? facts->error : content.error);
    // What has the checksum of the whole file is whole.
    std::string const& damage = facts->damage.empty() ? facts->debug_damage : facts->damage;
    if (!damage.empty() && !(m_owner.debug_link && agrees(linkIdentity(content.path))))
        return rejectUnusable(candidate, path, damage);
    candidate.identity = proofOf(content.path, *facts);
    bool const isProven = candidate.identity.kind != IdentityKind::none;
    if (!facts->has_debug_info) {
        reject(candidate, svError,
               reasonText(facts->has_symbol_table ? ReasonKey::only_symbol_table
                                                  : ReasonKey::debug_info_missing,
                          {path}));
        candidate.lacks_debug_info = isProven;
        return;
    }
    if (isProven) {
        candidate.result = vrValid;
        return;
    }
    if (m_owner.debug_link && m_owner.build_id.empty())
        return compare(candidate, linkIdentity(content.path), ReasonKey::debug_link_mismatch,
                       ReasonKey::checksum_unread, path);
    if (!m_owner.build_id.empty())
        return compare(
            candidate, {IdentityKind::build_id, toHex(m_owner.build_id), toHex(facts->build_id)},
            ReasonKey::symbol_build_id_mismatch, ReasonKey::symbol_build_id_missing, path);
    if (m_owner.lacks_build_id && !facts->build_id.empty())
        return reject(
            candidate, svError,
            reasonText(ReasonKey::symbol_build_id_foreign, {path, toHex(facts->build_id)}));
    if (m_owner.machine != 0 && facts->machine != m_owner.machine)
        reject(candidate, svError, reasonText(ReasonKey::architecture_mismatch, {path}));
}

/// Of no kind if nothing proves the file. The checksum, which takes a reading of it all, is not
/// asked for a file that has nothing to show.
Identity SymbolValidator::proofOf(std::string const& path, ElfFacts const& facts) const {
    if (!m_owner.build_id.empty() && facts.build_id == m_owner.build_id)
        return {IdentityKind::build_id, toHex(m_owner.build_id), toHex(facts.build_id)};
    if (m_owner.build_id.empty() && sameFile(m_owner.path, path))
        return {IdentityKind::same_file, m_owner.path, path};
    bool const isOfAnother = !m_owner.build_id.empty() && !facts.build_id.empty();
    if (isOfAnother || !m_owner.debug_link || !(facts.has_debug_info || facts.has_symbol_table))
        return {};
    Identity link = linkIdentity(path);
    return agrees(link) ? link : Identity();
}

Identity SymbolValidator::linkIdentity(std::string const& path) const {
    std::optional<std::uint32_t> const actual = m_cache.crc32(path);
    return {IdentityKind::debug_link_crc, crcText(m_owner.debug_link->crc),
            actual ? crcText(*actual) : ""};
}

SupplementaryValidator::SupplementaryValidator(ElfFactsCache& cache, BuildId expected)
    : m_cache(cache), m_expected(std::move(expected)) {}

void SupplementaryValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    auto const facts = m_cache.facts(path, candidate.stamp);
    if (!facts->error.empty() || !facts->damage.empty() || !facts->debug_damage.empty())
        return rejectUnusable(candidate, path,
                              facts->error +
                                  (facts->damage.empty() ? facts->debug_damage : facts->damage));
    if (!facts->has_debug_info && !facts->has_debug_strings)
        return reject(candidate, svError, reasonText(ReasonKey::debug_info_missing, {path}));
    compare(candidate, {IdentityKind::build_id, toHex(m_expected), toHex(facts->build_id)},
            ReasonKey::supplementary_build_id_mismatch, ReasonKey::supplementary_build_id_missing,
            path);
}

namespace {

std::string dwoIdText(std::vector<std::uint64_t> const& ids) {
    if (ids.empty())
        return {};
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "%016" PRIx64, ids.front());
    return text.data() + (ids.size() == 1 ? "" : " +" + std::to_string(ids.size() - 1));
}

} // namespace

std::shared_ptr<SplitContents const> splitContents(SplitContentsCache& cache,
                                                   std::string const& path) {
    return cache.get(
        path,
        [](std::string const& each) {
            return std::make_shared<SplitContents const>(readSplitContents(each));
        });
}

SplitValidator::SplitValidator(SplitContentsCache& cache, std::vector<std::uint64_t> expected,
                               bool takesSome)
    : m_cache(cache), m_expected(std::move(expected)), m_takesSome(takesSome) {
    std::sort(m_expected.begin(), m_expected.end());
    m_expected.erase(std::unique(m_expected.begin(), m_expected.end()), m_expected.end());
}

Identity SplitValidator::expected() const {
    return {IdentityKind::dwo_id, dwoIdText(m_expected), ""};
}

void SplitValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    auto const contents = splitContents(m_cache, path);
    if (contents->ids.empty() && !contents->error.empty())
        return rejectUnusable(candidate, path, contents->error);
    std::vector<std::uint64_t> held;
    std::set_intersection(m_expected.begin(), m_expected.end(), contents->ids.begin(),
                          contents->ids.end(), std::back_inserter(held));
    Identity identity = expected();
    if (m_takesSome ? held.empty() : held.size() < m_expected.size()) {
        identity.actual = dwoIdText(contents->ids);
        return compare(candidate, std::move(identity), ReasonKey::dwo_id_mismatch,
                       ReasonKey::dwo_id_missing, path);
    }
    identity.actual = dwoIdText(held);
    candidate.identity = std::move(identity);
    candidate.result = vrValid;
}

namespace {

/// The library's comparison of time and size, with both values in its texts.
class ExplainedTimeAndSize final : public SourceFileTimeAndSizeMatchValidator {
public:
    ExplainedTimeAndSize(std::string const& path, SourceIdentity const& expected,
                         SourceIdentity const& actual)
        : SourceFileTimeAndSizeMatchValidator(expected.modification_time, expected.size)
        , m_path(path)
        , m_expected(expected)
        , m_actual(actual) {}

    void fillTimeMismatchErrorMessage(IModificationTimeMismatchMessage& /*message*/,
                                      IMsgContainer& text) override {
        put(text, ReasonKey::source_time_mismatch, &SourceIdentity::modification_time);
    }
    void fillSizeMismatchErrorMessage(ISizeMismatchMessage& /*message*/,
                                      IMsgContainer& text) override {
        put(text, ReasonKey::source_size_mismatch, &SourceIdentity::size);
    }

private:
    void put(IMsgContainer& text, ReasonKey reason, std::uint64_t SourceIdentity::*value) {
        text.put(reasonText(reason, {m_path, std::to_string(m_actual.*value),
                                     std::to_string(m_expected.*value)})
                     .c_str());
    }

    std::string const& m_path;
    SourceIdentity const& m_expected;
    SourceIdentity const& m_actual;
};

/// The library's comparison of times, with both files in its text.
class ExplainedUpToDate final : public SourceFileUpToDateCheckValidator {
public:
    ExplainedUpToDate(std::string const& path, std::string const& binary)
        : SourceFileUpToDateCheckValidator(binary.c_str(), false), m_path(path), m_binary(binary) {}

    void fillUpToDateErrorMessage(ISourceFileUpToDateMessage& /*message*/,
                                  IMsgContainer& text) override {
        text.put(reasonText(ReasonKey::source_newer, {m_path, m_binary}).c_str());
    }

private:
    std::string const& m_path;
    std::string const& m_binary;
};

/// Only of what was recorded.
std::string timeAndSizeText(SourceIdentity const& recorded, SourceIdentity const& values) {
    std::string text;
    if (recorded.modification_time != 0)
        text = std::to_string(values.modification_time) + " s";
    if (recorded.size != 0)
        text += (text.empty() ? "" : ", ") + std::to_string(values.size) + " bytes";
    return text;
}

} // namespace

SourceValidator::SourceValidator(SourceIdentity expected, std::string binary)
    : m_expected(expected), m_binary(std::move(binary)) {}

void SourceValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    if (std::string const obstacle = obstacleToReading(path, c_maxSource); !obstacle.empty())
        rejectUnusable(candidate, path, obstacle);
    else if (m_expected.md5)
        judgeByMd5(path, candidate);
    else if (m_expected.modification_time != 0 || m_expected.size != 0)
        judgeByTimeAndSize(path, candidate);
    if (!m_expected.md5 && !m_binary.empty() && candidate.result != vrInvalid)
        warnOfNewer(path, candidate);
}

/// What was written later cannot be what the compiler read, but may be a fresh copy of it.
void SourceValidator::warnOfNewer(std::string const& path, JudgedCandidate& candidate) const {
    ErrorInfoContainer reason;
    ExplainedUpToDate check(path, m_binary);
    if (check.validate(path.c_str(), reason) != vrInvalid)
        return;
    candidate.result = vrUndecided;
    candidate.severity = reason.severity();
    candidate.message = reason.errorMessage();
}

void SourceValidator::judgeByMd5(std::string const& path, JudgedCandidate& candidate) const {
    compare(candidate,
            {IdentityKind::source_md5, toolbelt2::to_hex(*m_expected.md5), contentMd5(path)},
            ReasonKey::source_md5_mismatch, ReasonKey::checksum_unread, path);
    // A source of another version can still be read beside the profile.
    if (candidate.result == vrInvalid)
        candidate.severity = svWarning;
}

void SourceValidator::judgeByTimeAndSize(std::string const& path,
                                         JudgedCandidate& candidate) const {
    SourceIdentity actual;
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) {
        actual.modification_time = static_cast<std::uint64_t>(status.st_mtim.tv_sec);
        actual.size = static_cast<std::uint64_t>(status.st_size);
        candidate.identity.actual = timeAndSizeText(m_expected, actual);
    }
    candidate.identity.kind = IdentityKind::time_and_size;
    candidate.identity.expected = timeAndSizeText(m_expected, m_expected);
    ErrorInfoContainer reason;
    candidate.result =
        ExplainedTimeAndSize(path, m_expected, actual).validate(path.c_str(), reason);
    // Alone neither tells one version from another.
    bool const isHalf = m_expected.modification_time == 0 || m_expected.size == 0;
    if (candidate.result == vrValid && isHalf)
        candidate.result = vrUndecided;
    candidate.severity = reason.severity();
    candidate.message = reason.errorMessage();
}

} // namespace lokata::profile
