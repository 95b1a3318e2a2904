#include "search/identity.h"

#include "read/names.h"
#include "search/validation_messages.h"

#include <lokata2/checksum.h>
#include <lokata2/content_validators.h>
#include <lokata2/utils.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include <sys/stat.h>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

std::string crcText(std::uint32_t crc) {
    char text[9];
    std::snprintf(text, sizeof text, "%08" PRIx32, crc);
    return text;
}

void refuse(JudgedCandidate& candidate, severity_t severity, std::string message) {
    candidate.result = vrInvalid;
    candidate.severity = severity;
    candidate.message = std::move(message);
}

void refuseUnreadable(JudgedCandidate& candidate, std::string const& path,
                      std::string const& reason) {
    refuse(candidate, svError,
           messageText(&IMessageMgr::getFileIsNotABinaryModuleMessage, "%FileIsNotABinaryModule",
                       path) +
               " (" + reason + ")");
}

/// "(expected build-id 12ab, found none)"
std::string comparison(Identity const& identity) {
    return " (expected " + std::string(wordOf(c_identityKinds, identity.kind)) + " " +
           identity.expected + ", found " + (identity.actual.empty() ? "none" : identity.actual) +
           ")";
}

template <class Message>
void compare(JudgedCandidate& candidate, Identity identity,
             ObjectPtr<Message> (IMessageMgr::*mismatch)(), std::string const& path) {
    candidate.identity = std::move(identity);
    if (candidate.identity.expected == candidate.identity.actual)
        candidate.result = vrValid;
    else
        refuse(candidate, svError,
               messageText(mismatch, "%ChecksumMismatch", path) + comparison(candidate.identity));
}

bool sameFile(std::string const& a, std::string const& b) {
    struct stat first {};
    struct stat second {};
    return !a.empty() && ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

} // namespace

validation_result_t IdentityValidator::validate(char const* fileName,
                                                IErrorInfoContainer& errorInfo) {
    JudgedCandidate candidate;
    candidate.path = utils::getCanonicalName(fileName, false);
    judge(fileName, candidate);
    if (candidate.result == vrInvalid) {
        errorInfo.setSeverity(candidate.severity);
        errorInfo.setErrorMessage(candidate.message.c_str());
    }
    m_judged.push_back(std::move(candidate));
    return m_judged.back().result;
}

JudgedCandidate const* IdentityValidator::verdictOn(std::string const& canonicalPath) const {
    auto const found =
        std::find_if(m_judged.rbegin(), m_judged.rend(), [&](JudgedCandidate const& candidate) {
            return candidate.path == canonicalPath;
        });
    return found == m_judged.rend() ? nullptr : &*found;
}

BinaryValidator::BinaryValidator(ElfFactsCache& cache, BuildId expected)
    : m_cache(cache), m_expected(std::move(expected)) {}

void BinaryValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    if (m_expected.empty())
        return;
    candidate.identity = {IdentityKind::build_id, toHex(m_expected), ""};
    // A packed kernel shows its build-id only once the library has unpacked and offered it again.
    if (utils::getFileNameOnly(path.c_str()).compare(0, std::string(VMLINUZ).size(), VMLINUZ) == 0)
        return;
    auto const facts = m_cache.facts(path);
    if (!facts->error.empty() && facts->build_id.empty())
        return refuseUnreadable(candidate, path, facts->error);
    compare(candidate, {IdentityKind::build_id, toHex(m_expected), toHex(facts->build_id)},
            &IMessageMgr::getBinChecksumMismatchMessage, path);
    if (candidate.result == vrValid && facts->lacks_code)
        refuseUnreadable(candidate, path, "debug information without the code");
}

SymbolValidator::SymbolValidator(ElfFactsCache& cache, SymbolOwner owner)
    : m_cache(cache), m_owner(std::move(owner)) {}

void SymbolValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    auto const facts = m_cache.facts(path);
    if (!facts->error.empty())
        return refuseUnreadable(candidate, path, facts->error);
    if (!facts->has_debug_info)
        return refuse(
            candidate, svError,
            messageText(&IMessageMgr::getInvalidSymbolFileMessage, "%InvalidSymbolFile", path) +
                (facts->has_symbol_table ? " (a symbol table, but no debug information)"
                                         : " (no debug information)"));
    if (!m_owner.build_id.empty() && facts->build_id == m_owner.build_id) {
        candidate.result = vrValid;
        candidate.identity = {IdentityKind::build_id, toHex(m_owner.build_id),
                              toHex(facts->build_id)};
        return;
    }
    if (m_owner.build_id.empty() && sameFile(m_owner.path, path)) {
        candidate.result = vrValid;
        candidate.identity = {IdentityKind::same_file, m_owner.path, path};
        return;
    }
    if (m_owner.debug_link && provenByCrc(path, candidate))
        return;
    if (!m_owner.build_id.empty())
        return compare(candidate,
                       {IdentityKind::build_id, toHex(m_owner.build_id), toHex(facts->build_id)},
                       &IMessageMgr::getSymChecksumMismatchMessage, path);
    if (m_owner.debug_link)
        return refuse(
            candidate, svError,
            messageText(&IMessageMgr::getSymChecksumMismatchMessage, "%ChecksumMismatch", path) +
                comparison(candidate.identity));
    if (m_owner.machine != 0 && facts->machine != m_owner.machine)
        refuse(candidate, svError,
               messageText(&IMessageMgr::getFileArchMismatchMessage, "%FileArchMismatch", path));
}

bool SymbolValidator::provenByCrc(std::string const& path, JudgedCandidate& candidate) {
    std::optional<std::uint32_t> const actual = m_cache.crc32(path);
    candidate.identity = {IdentityKind::debug_link_crc, crcText(m_owner.debug_link->crc),
                          actual ? crcText(*actual) : ""};
    if (actual != m_owner.debug_link->crc)
        return false;
    candidate.result = vrValid;
    return true;
}

SupplementaryValidator::SupplementaryValidator(ElfFactsCache& cache, BuildId expected)
    : m_cache(cache), m_expected(std::move(expected)) {}

void SupplementaryValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    auto const facts = m_cache.facts(path);
    if (!facts->error.empty())
        return refuseUnreadable(candidate, path, facts->error);
    compare(candidate, {IdentityKind::build_id, toHex(m_expected), toHex(facts->build_id)},
            &IMessageMgr::getSymChecksumMismatchMessage, path);
}

namespace {

/// Takes the verdict and the text of a validator of the library.
class Reason final : public IErrorInfoContainer {
public:
    explicit Reason(JudgedCandidate& candidate) : m_candidate(candidate) {}
    void setSeverity(severity_t severity) override { m_candidate.severity = severity; }
    void setErrorMessage(char const* message) override {
        if (message != nullptr)
            m_candidate.message = message;
    }

private:
    JudgedCandidate& m_candidate;
};

/// The library's comparison of time and size, with the values in its texts.
class ExplainedTimeAndSize final : public SourceFileTimeAndSizeMatchValidator {
public:
    ExplainedTimeAndSize(SourceIdentity const& expected, std::string values)
        : SourceFileTimeAndSizeMatchValidator(expected.modification_time, expected.size)
        , m_values(std::move(values)) {}

    void fillTimeMismatchErrorMessage(IModificationTimeMismatchMessage& message,
                                      IMsgContainer& text) override {
        message.fillMessage(text, m_values.c_str());
    }
    void fillSizeMismatchErrorMessage(ISizeMismatchMessage& message, IMsgContainer& text) override {
        message.fillMessage(text, m_values.c_str());
    }

private:
    std::string m_values;
};

std::string timeAndSizeText(SourceIdentity const& recorded, std::uint64_t time,
                            std::uint64_t size) {
    std::string text;
    if (recorded.modification_time != 0)
        text = std::to_string(time) + " s";
    if (recorded.size != 0)
        text += (text.empty() ? "" : ", ") + std::to_string(size) + " bytes";
    return text;
}

} // namespace

SourceValidator::SourceValidator(SourceIdentity expected) : m_expected(expected) {}

void SourceValidator::judge(std::string const& path, JudgedCandidate& candidate) {
    if (m_expected.md5)
        judgeByMd5(path, candidate);
    else if (m_expected.modification_time != 0 || m_expected.size != 0)
        judgeByTimeAndSize(path, candidate);
}

void SourceValidator::judgeByMd5(std::string const& path, JudgedCandidate& candidate) const {
    ObjectPtr<IChecksum> const actual =
        IChecksumCalculator::create()->calculateChecksum(path.c_str(), ctMd5);
    compare(candidate,
            {IdentityKind::source_md5, toHex({m_expected.md5->begin(), m_expected.md5->end()}),
             actual ? actual->value() : ""},
            &IMessageMgr::getSrcChecksumMismatchMessage, path);
    // A source of another version can still be read beside the profile.
    if (candidate.result == vrInvalid)
        candidate.severity = svWarning;
}

void SourceValidator::judgeByTimeAndSize(std::string const& path,
                                         JudgedCandidate& candidate) const {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0)
        candidate.identity.actual =
            timeAndSizeText(m_expected, static_cast<std::uint64_t>(status.st_mtim.tv_sec),
                            static_cast<std::uint64_t>(status.st_size));
    candidate.identity.kind = IdentityKind::time_and_size;
    candidate.identity.expected =
        timeAndSizeText(m_expected, m_expected.modification_time, m_expected.size);
    Reason reason(candidate);
    candidate.result = ExplainedTimeAndSize(m_expected, comparison(candidate.identity))
                           .validate(path.c_str(), reason);
}

} // namespace lokata::profile
