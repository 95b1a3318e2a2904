#pragma once

/// Validators that prove what a file is by what it carries: build-ids, link checksums, and what the
/// line table of a binary says of a source file. A refusal names the expected and the actual value,
/// to the library by its message and to the caller by the judgements that the validator keeps.
///
/// A validator serves one search on one thread. It keeps references to what it was given.

#include "profile/elf_facts.h"
#include "profile/source_files.h"

#include <lokata2/search_types.h>
#include <lokata2/validator.h>

#include <string>
#include <vector>

namespace lokata::profile {

enum class IdentityKind {
    none,           ///< Nothing to go by.
    build_id,       ///< Hexadecimal digits.
    debug_link_crc, ///< Eight hexadecimal digits.
    same_file,      ///< The symbols stand in the binary itself; values are its path.
    source_md5,     ///< Hexadecimal digits.
    time_and_size,  ///< "SECONDS s, SIZE bytes", a part that is not recorded left out.
};

/// Lower-case word for a kind, as "build-id".
char const* identityKindName(IdentityKind kind);

/// What was compared. `actual` is empty for a file that carries no such value.
struct Identity {
    IdentityKind kind = IdentityKind::none;
    std::string expected;
    std::string actual;
};

/// The verdict on one candidate.
struct Judgement {
    std::string path; ///< Canonical, as the library names files.
    LK_2_13::validation_result_t result = LK_2_13::vrUndecided;
    LK_2_13::severity_t severity = LK_2_13::svNone;
    std::string message; ///< For a person; empty unless refused.
    Identity identity;
};

/// Keeps what it judged. Subclasses say how.
class IdentityValidator : public LK_2_13::IValidatorCallback {
public:
    LK_2_13::validation_result_t validate(char const* fileName,
                                          LK_2_13::IErrorInfoContainer& errorInfo) final;

    /// In the order of judging; a path that came up again stands there again.
    std::vector<Judgement> const& judgements() const { return m_judgements; }
    /// The latest verdict on a file by its canonical path; null if there was none.
    Judgement const* judgementOf(std::string const& canonicalPath) const;

protected:
    /// `judgement` comes with the path of the candidate and nothing else set.
    virtual void judge(std::string const& path, Judgement& judgement) = 0;

private:
    std::vector<Judgement> m_judgements;
};

/// Binaries by build-id; a separate debug file of the same build-id is refused. Without an expected
/// build-id every file is undecided.
class BinaryValidator final : public IdentityValidator {
public:
    BinaryValidator(ElfFactsCache& cache, BuildId expected);

private:
    void judge(std::string const& path, Judgement& judgement) override;

    ElfFactsCache& m_cache;
    BuildId m_expected;
};

/// What is known of the binary whose symbols are wanted.
struct SymbolOwner {
    std::string path; ///< Empty if the binary was not found.
    BuildId build_id; ///< Empty if it has none.
    std::optional<DebugLink> debug_link;
    std::uint16_t machine = 0; ///< EM_...; 0 if not known.
};

/// Symbol files: by the build-id of the binary, else by the CRC-32 of its debug link. A file
/// without debug information is refused first, so that a stripped namesake of the same build-id
/// does not end the search. The binary itself is valid if it holds its debug information.
class SymbolValidator final : public IdentityValidator {
public:
    SymbolValidator(ElfFactsCache& cache, SymbolOwner owner);

private:
    void judge(std::string const& path, Judgement& judgement) override;
    bool provenByCrc(std::string const& path, Judgement& judgement);

    ElfFactsCache& m_cache;
    SymbolOwner m_owner;
};

/// Supplementary files by the build-id in .gnu_debugaltlink.
class SupplementaryValidator final : public IdentityValidator {
public:
    SupplementaryValidator(ElfFactsCache& cache, BuildId expected);

private:
    void judge(std::string const& path, Judgement& judgement) override;

    ElfFactsCache& m_cache;
    BuildId m_expected;
};

/// Source files: by the MD5 that the compiler wrote, else by time and size, else undecided.
class SourceValidator final : public IdentityValidator {
public:
    explicit SourceValidator(SourceIdentity expected);

private:
    void judge(std::string const& path, Judgement& judgement) override;
    void judgeByMd5(std::string const& path, Judgement& judgement) const;
    void judgeByTimeAndSize(std::string const& path, Judgement& judgement) const;

    SourceIdentity m_expected;
};

} // namespace lokata::profile
