#pragma once

/// Validators that prove what a file is by what it carries: build-ids, link checksums, and what the
/// line table of a binary says of a source file. A rejection names the expected and the actual
/// value, to the library by its message and to the caller by the verdicts that the validator keeps.
///
/// A validator serves one search on one thread. It keeps references to what it was given, which
/// must outlive it.

#include "facts/elf_facts.h"
#include "facts/source_files.h"
#include "facts/split_dwarf.h"
#include "search/archived_copies.h"
#include "search/copied_trees.h"
#include "search/live_file.h"

#include <lokata/profile/resolution.h>

#include <lokata2/validator.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// The copy that a packed kernel or module was unpacked to. All paths are canonical.
struct UnpackedCopy {
    std::string packed;
    std::string path;
    std::optional<FileStamp> stamp; ///< Of the copy, before it was judged.
};

/// Keeps what it judged. Subclasses say how.
class IdentityValidator : public LK_2_13::IValidatorCallback {
public:
    /// Rejects besides what `copies` rejects, which must outlive the validator.
    void setArchives(ArchivedCopies const& copies) { m_copies = &copies; }
    /// Rejects unread what leads out of `trees`, which must outlive the validator.
    void setTrees(CopiedTrees const& trees) { m_trees = &trees; }
    /// Those for the name that is searched.
    void setOwnCopies(OwnCopies own) { m_own = std::move(own); }

    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) final;

    /// In the order of judging; a canonical path that came up again does not stand there again.
    std::vector<JudgedCandidate> const& judged() const { return m_judged; }
    /// The latest verdict on a file by its canonical path; null if there was none.
    JudgedCandidate const* verdictOn(std::string_view canonicalPath) const;
    /// The copy that was judged in the place of a packed file, by the path of either, the latest
    /// first; null for what was not packed.
    UnpackedCopy const* copyOf(std::string const& canonicalPath) const;

protected:
    /// What is to be judged of a candidate: the file itself or, where a kernel or a module is
    /// packed in it, the copy that it unpacks to.
    struct Content {
        std::string path;
        std::shared_ptr<ElfFacts const> facts;
        std::string error; ///< Why there is no copy; the file then stands for itself.
    };
    /// `stamp` is that of the file, as it was just now.
    Content contentOf(ElfFactsCache& cache, std::string const& path,
                      std::optional<FileStamp> const& stamp);

    /// `candidate` comes with the path of the candidate and nothing else set.
    virtual void judge(std::string const& path, JudgedCandidate& candidate) = 0;

private:
    static LK_2_13::validation_result_t tell(JudgedCandidate const& verdict,
                                             LK_2_13::IErrorInfoContainer& errorInfo);

    ArchivedCopies const* m_copies = nullptr;
    CopiedTrees const* m_trees = nullptr;
    OwnCopies m_own;
    std::vector<JudgedCandidate> m_judged;
    std::vector<UnpackedCopy> m_copiesMade;
};

/// What may be known of a binary beside its build-id.
struct BinaryClues {
    LiveFile const* live = nullptr;    ///< It must outlive the validator.
    std::optional<DebugId> debug_id{}; ///< Counts without a build-id.
};

/// Binaries: as the file that a running process has mapped, if `live` is set and the build-id is no
/// other, else by build-id, or by as much of it as the debug id is; a separate debug file of the
/// same build-id is rejected. Without either a file that is neither damaged nor another one than
/// the mapped is undecided.
class BinaryValidator final : public IdentityValidator {
public:
    BinaryValidator(ElfFactsCache& cache, BuildId expected, BinaryClues const& clues = {});

private:
    bool isByDebugId() const { return m_expected.empty() && m_clues.debug_id; }
    Identity identityOf(BuildId const& actual) const;
    void judge(std::string const& path, JudgedCandidate& candidate) override;
    void judgeAsMapped(std::string const& path, JudgedCandidate& candidate) const;

    ElfFactsCache& m_cache;
    BuildId m_expected;
    BinaryClues m_clues;
};

/// What is known of the binary whose symbols are wanted.
struct SymbolOwner {
    std::string path; ///< Empty if the binary was not found.
    BuildId build_id; ///< Empty if it has none.
    std::optional<DebugLink> debug_link;
    std::uint16_t machine = 0; ///< EM_...; 0 if not known.
    /// The binary was found, and read to the end of its notes. Symbols keep those of their binary.
    bool lacks_build_id = false;
};

/// `binary` is the file that was found, empty if none. Its build-id counts if none was recorded.
SymbolOwner symbolOwner(ElfFactsCache& cache, std::string const& binary, BuildId const& recorded);

/// Symbol files: by the build-id of the binary, else by the CRC-32 of its debug link. A file
/// without debug information is rejected, so that a stripped namesake of the same build-id does not
/// end the search; its verdict holds an identity if that proves it. The binary itself is valid if
/// it holds its debug information.
class SymbolValidator final : public IdentityValidator {
public:
    SymbolValidator(ElfFactsCache& cache, SymbolOwner owner);

private:
    void judge(std::string const& path, JudgedCandidate& candidate) override;
    void judge(Content const& content, std::string const& path, JudgedCandidate& candidate) const;
    Identity proofOf(std::string const& path, ElfFacts const& facts) const;
    Identity linkIdentity(std::string const& path) const;

    ElfFactsCache& m_cache;
    SymbolOwner m_owner;
};

/// Supplementary files, which hold parts of debug information, by the build-id in
/// .gnu_debugaltlink.
class SupplementaryValidator final : public IdentityValidator {
public:
    SupplementaryValidator(ElfFactsCache& cache, BuildId expected);

private:
    void judge(std::string const& path, JudgedCandidate& candidate) override;

    ElfFactsCache& m_cache;
    BuildId m_expected;
};

/// What a file holds; `cache` remembers it.
std::shared_ptr<SplitContents const> splitContents(SplitContentsCache& cache,
                                                   std::string const& path);

/// Files with split DWARF, by the dwo_id of their units. They hold all units that are expected of
/// them, or with `takesSome` any: a package may come from a build before, of which debuggers still
/// use what has not changed.
class SplitValidator final : public IdentityValidator {
public:
    SplitValidator(SplitContentsCache& cache, std::vector<std::uint64_t> expected,
                   bool takesSome = false);

    /// What is expected, with nothing to compare.
    Identity expected() const;

private:
    void judge(std::string const& path, JudgedCandidate& candidate) override;

    SplitContentsCache& m_cache;
    std::vector<std::uint64_t> m_expected; ///< Ascending; none twice.
    bool m_takesSome;
};

/// Source files: by the MD5 that the compiler wrote, else by time and size, both of them; else
/// undecided. Without an MD5, one that is newer than `binary` is undecided with a warning.
class SourceValidator final : public IdentityValidator {
public:
    /// Without a `binary` no file is newer.
    explicit SourceValidator(SourceIdentity expected, std::string binary = {});

private:
    void judge(std::string const& path, JudgedCandidate& candidate) override;
    void judgeByMd5(std::string const& path, JudgedCandidate& candidate) const;
    void judgeByTimeAndSize(std::string const& path, JudgedCandidate& candidate) const;
    void warnOfNewer(std::string const& path, JudgedCandidate& candidate) const;

    SourceIdentity m_expected;
    std::string m_binary;
};

} // namespace lokata::profile
