#include "search/archived_copies.h"

#include "facts/md5.h"
#include "read/reasons.h"

#include <lokata/profile/archived_copy_validator.h>

#include <lokata2/utils.h>

#include <toolbelt2/hex.h>

#include <string_view>

#include <sys/stat.h>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

/// Takes the last component off `path`, with the slashes before it.
std::string_view takeLast(std::string_view& path) {
    std::size_t const slash = path.rfind('/');
    if (slash == std::string_view::npos)
        return std::exchange(path, {});
    std::string_view const last = path.substr(slash + 1);
    path = path.substr(0, path.find_last_not_of('/', slash) + 1);
    return last;
}

} // namespace

std::optional<CopyPath> parseCopyPath(std::string const& path) {
    std::string_view rest = path;
    std::string_view const name = takeLast(rest);
    auto const md5 = toolbelt2::from_hex(takeLast(rest));
    if (!md5 || md5->size() != c_md5Size || takeLast(rest) != name || name.empty() || rest.empty())
        return std::nullopt;
    return CopyPath{std::string(rest), std::string(name), toolbelt2::to_hex(*md5)};
}

ArchivedCopies::ArchivedCopies(ISearchEnv* environment, ContentDigests& digests)
    : m_digests(digests) {
    if (environment == nullptr)
        return;
    for (search_category_t const category :
         {scBinaryFiles, scSymbolFiles, scSourceFiles, scAllFiles})
        forEachDirectory(environment->archiveDirs(category),
                         [&](char const* name, bool, bool) { add(name, true); });
    if (std::string const cache = environment->cacheDir(); !cache.empty())
        add(cache, false);
}

std::optional<ArchivedCopies::DirectoryKey> ArchivedCopies::keyOf(std::string const& directory) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0)
        return std::nullopt;
    return DirectoryKey{status.st_dev, status.st_ino};
}

void ArchivedCopies::add(std::string const& directory, bool isArchive) {
    if (auto const key = keyOf(directory))
        m_directories.emplace(*key, isArchive);
}

void ArchivedCopies::check(std::string const& path, OwnCopies const& own,
                           JudgedCandidate& candidate) const {
    std::optional<CopyPath> const copy = parseCopyPath(path);
    bool const isRefused = candidate.result == vrInvalid && !candidate.lacks_debug_info;
    if (isRefused || !copy || m_directories.empty())
        return;
    // Archives may lie in archives: what is below their directories is met as well.
    auto directory = m_directories.end();
    for (std::string_view above = copy->directory;
         !above.empty() && directory == m_directories.end(); takeLast(above))
        if (auto const key = keyOf(std::string(above)))
            directory = m_directories.find(*key);
    if (directory == m_directories.end())
        return;
    std::string const actual = m_digests.get(path, contentMd5);
    if (actual == copy->md5) {
        if (bool const isArchive = directory->second; isArchive)
            own.check(copy->md5, candidate);
        return;
    }
    candidate.result = vrInvalid;
    candidate.lacks_debug_info = false;
    candidate.severity = svError;
    candidate.message = actual.empty()
                            ? reasonText(ReasonKey::checksum_unread, {path, copy->md5})
                            : reasonText(ReasonKey::copy_damaged, {path, actual, copy->md5});
    candidate.identity = {IdentityKind::source_md5, copy->md5, actual};
}

class ArchivedCopyValidator::Impl {
public:
    explicit Impl(ISearchEnv* environment) : copies(environment, m_digests) {}

private:
    ContentDigests m_digests;

public:
    ArchivedCopies const copies;
};

ArchivedCopyValidator::ArchivedCopyValidator(ObjectPtr<ISearchEnv> const& environment)
    : m_impl(std::make_unique<Impl>(environment.get())) {}

ArchivedCopyValidator::~ArchivedCopyValidator() = default;

validation_result_t ArchivedCopyValidator::validate(char const* fileName,
                                                    IErrorInfoContainer& errorInfo) {
    JudgedCandidate candidate;
    if (m_inner != nullptr)
        candidate.result = m_inner->validate(fileName, errorInfo);
    if (candidate.result == vrInvalid)
        return vrInvalid;
    m_impl->copies.check(fileName, {}, candidate);
    if (candidate.result == vrInvalid) {
        errorInfo.setSeverity(candidate.severity);
        errorInfo.setErrorMessage(candidate.message.c_str());
    }
    return candidate.result;
}

} // namespace lokata::profile
