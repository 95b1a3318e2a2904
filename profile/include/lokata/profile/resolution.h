#pragma once

/// What the resolution of a profile came to: for each module the files that belong to it, how each
/// was proven, and why others were rejected. Plain data, filled by the resolver and read by the
/// outputs.

#include <lokata/profile/boxed.h>
#include <lokata/profile/file_stamp.h>
#include <lokata/profile/places.h>
#include <lokata/profile/profile.h>
#include <lokata/profile/words.h>

#include <lokata2/search_types.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// By what a file is known to be the right one.
enum class IdentityKind {
    none,             ///< Nothing to go by.
    build_id,         ///< Hexadecimal digits.
    debug_id,         ///< 32 hexadecimal digits: the first 16 bytes of the build-id.
    debug_link_crc,   ///< Eight hexadecimal digits.
    same_file,        ///< The symbols stand in the binary itself; values are its path.
    source_md5,       ///< Hexadecimal digits; of a source, or of a damaged copy in an archive.
    time_and_size,    ///< "SECONDS s, SIZE bytes", a part that is not recorded left out.
    device_and_inode, ///< "MAJOR:MINOR INODE" as /proc/PID/maps has them.
    /// Sixteen hexadecimal digits; of several the smallest, and " +N" for N others.
    dwo_id,
};

constexpr Word<IdentityKind> c_identityKinds[]{
    {IdentityKind::none, "none"},
    {IdentityKind::build_id, "build-id"},
    {IdentityKind::debug_id, "debug-id"},
    {IdentityKind::debug_link_crc, "debuglink-crc"},
    {IdentityKind::same_file, "same-file"},
    {IdentityKind::source_md5, "md5"},
    {IdentityKind::time_and_size, "time-and-size"},
    {IdentityKind::device_and_inode, "device-and-inode"},
    {IdentityKind::dwo_id, "dwo-id"},
};

/// What was compared. `actual` is empty for a file that carries no such value.
struct Identity {
    IdentityKind kind = IdentityKind::none;
    std::string expected;
    std::string actual;
};

/// A candidate and what became of it.
struct JudgedCandidate {
    std::string path; ///< Canonical, as the library names files.
    LK_2_13::validation_result_t result = LK_2_13::vrUndecided;
    LK_2_13::severity_t severity = LK_2_13::svNone;
    /// The step that met it; `ssAskUser` for a path that another place led to.
    LK_2_13::search_step_t step = LK_2_13::ssAskUser;
    std::string message; ///< Why it was rejected, for a person; may be empty.
    Identity identity;
    /// The right file, by `identity`; nothing but this is wrong with it.
    bool lacks_debug_info = false;
    std::optional<FileStamp> stamp{}; ///< Taken before the file was judged.
};

/// Steps in the order in which they ran, each once. Of a size that does not count where a search is
/// kept for each of very many files.
class StepList {
public:
    void add(LK_2_13::search_step_t step) {
        auto const end = m_steps.begin() + m_count;
        if (std::find(m_steps.begin(), end, step) == end && m_count < m_steps.size())
            m_steps[m_count++] = static_cast<std::uint8_t>(step);
    }
    std::vector<LK_2_13::search_step_t> list() const {
        std::vector<LK_2_13::search_step_t> result;
        for (std::size_t i = 0; i < m_count; ++i)
            result.push_back(static_cast<LK_2_13::search_step_t>(m_steps[i]));
        return result;
    }

private:
    /// Steps are single bits of a byte.
    std::array<std::uint8_t, std::size(c_searchSteps)> m_steps{};
    std::uint8_t m_count = 0;
};

/// The search for one file of a module.
struct FileResolution {
    /// Canonical. Empty if no candidate was accepted; then `confidence`, `step` and `place` say
    /// nothing.
    std::string path;
    LK_2_13::confidence_t confidence = LK_2_13::cfValidated;
    LK_2_13::search_step_t step = LK_2_13::ssAskUser;
    Place place = Place::search_step; ///< What led to the file.
    StepList steps{};                 ///< Those that ran.
    Identity identity;                ///< Of the accepted file, else what was expected.
    /// In the order of meeting them; one entry a path.
    std::vector<JudgedCandidate> rejected;
    std::uint64_t elapsed_us = 0; ///< Wall clock time.
    /// What was tried beside the steps of the library, in order, also where no such file exists;
    /// empty if nothing was.
    Boxed<std::vector<Candidate>> suggested{};
    /// How many of `suggested` came before the first step; all of them if no step ran.
    std::uint32_t suggested_before_steps = 0;
    Boxed<FileStamp> stamp{}; ///< Of the accepted file, before it was judged.
    /// The packed kernel or module that the search met, where the accepted file is an unpacked copy
    /// of it in the kernel cache; canonical.
    Boxed<std::string> unpacked_from{};
    /// What speaks against the accepted file though nothing refutes it, for a person; empty if
    /// nothing does.
    Boxed<std::string> warning{};

    bool found() const { return !path.empty(); }
};

/// A file that holds split DWARF.
struct SplitFile {
    std::string name; ///< As the symbols name it, below the directory of the compilation.
    std::vector<std::uint64_t> dwo_ids{}; ///< Of the units that it is to hold.
    FileResolution file{};
};

/// Split DWARF: units of debug information that the symbols of a module leave in other files.
struct SplitResolution {
    std::uint64_t units = 0;
    /// Those that a file holds which was found, proven by their dwo_id.
    std::uint64_t found_units = 0;
    /// Of the .dwo files (.dwp). One that was found holds some of the units, or all.
    FileResolution package;
    /// The .dwo files of units that are in no package; by name, one entry a name.
    std::vector<SplitFile> files;
    std::string error; ///< Why not all units could be told, for a person.
};

enum class ModuleStatus : std::uint8_t {
    resolved,    ///< The binary was found and its identity is proven.
    unproven,    ///< The binary was found, but nothing recorded could prove it.
    missing,     ///< No candidate was accepted.
    unsupported, ///< A name of another machine or mount namespace that cannot be looked up here.
    not_a_file,  ///< Memory that no file stands behind: vdso, anonymous memory, jitted code.
};

constexpr Word<ModuleStatus> c_moduleStatuses[]{
    {ModuleStatus::resolved, "resolved"},     {ModuleStatus::unproven, "unproven"},
    {ModuleStatus::missing, "missing"},       {ModuleStatus::unsupported, "unsupported"},
    {ModuleStatus::not_a_file, "not-a-file"},
};

/// What of its code a viewer can show.
enum class SymbolLevel : std::uint8_t {
    lines,            ///< Functions, files and lines: all of the debug information is there.
    incomplete_lines, ///< Debug information of which a part is missing.
    names,            ///< The names of its functions.
    exports,          ///< Only the names that it offers to other modules.
    none,
};

constexpr Word<SymbolLevel> c_symbolLevels[]{
    {SymbolLevel::lines, "lines"}, {SymbolLevel::incomplete_lines, "incomplete-lines"},
    {SymbolLevel::names, "names"}, {SymbolLevel::exports, "exports"},
    {SymbolLevel::none, "none"},
};

/// A Debian package with a file whose symbols are missing, and that with the symbols.
struct OwningPackage {
    std::string name;
    std::string debug_name; ///< By the rules for such names; it need not exist.
};

struct ModuleResolution {
    Module module;
    ModuleStatus status = ModuleStatus::missing;
    SymbolLevel level = SymbolLevel::none; ///< Of the file `symbols`.
    /// The symbols need a supplementary file, but do not tell which.
    bool is_supplementary_unknown = false;
    Boxed<FileResolution> binary; ///< Empty if none was looked for.
    /// Empty if none was looked for. A file with debug information, or where none was found, one
    /// that gives as many names as can be.
    Boxed<FileResolution> symbols;
    Boxed<FileResolution> supplementary; ///< Empty without symbols, or if they name none.
    Boxed<SplitResolution> split_dwarf;  ///< Empty if the symbols are not split.
    /// Of the binary, where the level is below names; empty if no package is known to have it.
    Boxed<OwningPackage> package;
    /// Why not all source files that the symbols name could be told, for a person; empty if all
    /// could, or if they were not asked for.
    Boxed<std::string> sources_error;
};

/// A source file that resolved modules name. One name has several of them where the modules
/// recorded different identities, or where archives hold different copies for them.
struct SourceResolution {
    std::string name;   ///< As the line table or the profile names it.
    std::string module; ///< The first module that names it.
    FileResolution file;
    /// Of that module, as recorded or else as its files have it; empty if neither tells one. Behind
    /// it those of the other modules with this answer, if no MD5 was recorded.
    std::vector<BuildId> module_build_ids{};
    /// All modules that name it, by their places in the resolution, in order.
    std::vector<std::uint32_t> modules{};
};

/// What became of a source file.
enum class SourceStatus : std::uint8_t {
    proven,   ///< Found; what the compiler recorded of its content agrees.
    unproven, ///< Found, but nothing recorded could prove it; there may be a warning.
    refused,  ///< Not found; candidates were met, and none was accepted.
    missing,  ///< Not met anywhere.
};

constexpr Word<SourceStatus> c_sourceStatuses[]{
    {SourceStatus::proven, "proven"},
    {SourceStatus::unproven, "unproven"},
    {SourceStatus::refused, "refused"},
    {SourceStatus::missing, "missing"},
};

struct ProfileResolution {
    std::string input; ///< As the caller named it; "-" for standard input.
    /// Tells profiles apart: the same for what names the same modules and sources of one machine,
    /// whatever its format. Hexadecimal digits.
    std::string profile_id;
    Profile profile;                       ///< Its modules stand in `modules` and are empty here.
    std::vector<ModuleResolution> modules; ///< In the order of the profile.
    std::vector<SourceResolution> sources; ///< Empty unless they were asked for.
    std::vector<PathSubstitution> learned; ///< Renamed prefixes that proven files taught.
    std::uint64_t elapsed_us = 0;
    /// The progress callback ended the run. What was not reached is missing from the lists.
    bool cancelled = false;
};

/// What some of the modules come to.
struct ModuleTotal {
    std::uint64_t modules = 0;
    std::uint64_t samples = 0;
};

LOKATA_PROFILE_EXPORT ModuleTotal totalOf(ProfileResolution const& resolution, ModuleStatus status);
LOKATA_PROFILE_EXPORT ModuleTotal totalOf(ProfileResolution const& resolution, SymbolLevel level);

/// How many shares the recording tells of each module: one for each event or, where it tells no
/// periods, one by samples.
LOKATA_PROFILE_EXPORT std::size_t countShares(Profile const& profile);

/// What a module has of share `index`: the period of an event, or samples.
LOKATA_PROFILE_EXPORT std::uint64_t weightOf(Module const& module, Profile const& profile,
                                             std::size_t index);

/// What all modules have of it, together with what fell into none of them.
LOKATA_PROFILE_EXPORT std::uint64_t wholeWeight(ProfileResolution const& resolution,
                                                std::size_t index);

/// True if what `level` says is proven: the symbols belong to the module that was recorded, not
/// only to a binary that nothing proves.
LOKATA_PROFILE_EXPORT bool isLevelProven(ModuleResolution const& module);

/// The rejection that says most about why a search failed: a file of another identity before a file
/// that could not be judged, and that before a file that is not there. The earliest among equals;
/// null if nothing was rejected.
LOKATA_PROFILE_EXPORT JudgedCandidate const* mostTellingRejection(FileResolution const& file);

/// Why a file was not found, for a person and printable; empty if it was.
LOKATA_PROFILE_EXPORT std::string missingReason(FileResolution const& file);

/// What of the debug information is missing though symbols were found, or which debug information
/// of another build was met instead, or why a binary that was found gives no names; for a person
/// and printable. Empty if neither.
LOKATA_PROFILE_EXPORT std::string symbolsReason(ModuleResolution const& module);

/// Why a candidate was rejected, for a person and printable. It names the candidate.
LOKATA_PROFILE_EXPORT std::string rejectionReason(JudgedCandidate const& rejection);

LOKATA_PROFILE_EXPORT SourceStatus statusOf(SourceResolution const& source);

/// Where to get the symbols of a module that has no more than exported names, or that is missing:
/// the package with them, or the build-id by which a server knows them; for a person and printable.
/// Empty if it has names, or if nothing is known.
LOKATA_PROFILE_EXPORT std::string symbolsHelp(ModuleResolution const& module);

/// Why a module is not resolved, for a person and printable; empty if it is.
LOKATA_PROFILE_EXPORT std::string statusReason(ModuleResolution const& module);

} // namespace lokata::profile
