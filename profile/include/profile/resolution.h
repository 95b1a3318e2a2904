#pragma once

/// What the resolution of a profile came to: for each module the files that belong to it, how each
/// was proven, and why others were refused. Plain data, filled by the resolver and read by the
/// outputs.

#include "profile/file_places.h"
#include "profile/identity.h"
#include "profile/path_mapping.h"
#include "profile/profile.h"

#include <lokata2/search_types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// A candidate that was refused.
struct RefusedCandidate {
    std::string path;
    LK_2_13::severity_t severity = LK_2_13::svNone;
    LK_2_13::search_step_t step = LK_2_13::ssAskUser;
    std::string message; ///< For a person; may be empty.
    Identity identity;
};

/// The search for one file of a module.
struct FileResolution {
    std::string path; ///< Empty if no candidate was accepted; then the next three say nothing.
    LK_2_13::confidence_t confidence = LK_2_13::cfValidated;
    LK_2_13::search_step_t step = LK_2_13::ssAskUser;
    /// What led to the file, as placeName() of the place; "search-step" if a step of the library
    /// did.
    std::string place;
    Identity identity; ///< Of the accepted file, else what was expected.
    std::vector<RefusedCandidate> refused;
    std::uint64_t elapsed_us = 0; ///< Wall clock time.
    /// What was tried beside the steps of the library, in order, also where no such file exists.
    std::vector<Candidate> suggested{};
    std::vector<LK_2_13::search_step_t> steps{}; ///< Those that ran, in order.

    bool found() const { return !path.empty(); }
};

enum class ModuleStatus {
    resolved,    ///< The binary was found and its identity is proven.
    unproven,    ///< The binary was found, but nothing recorded could prove it.
    missing,     ///< No candidate was accepted.
    not_a_file,  ///< Memory that no file stands behind: vdso, anonymous memory, jitted code.
    unsupported, ///< A name of another machine or mount namespace that cannot be looked up here.
};

/// Lower-case word for a status, as "not-a-file".
char const* moduleStatusName(ModuleStatus status);

struct ModuleResolution {
    Module module;
    ModuleStatus status = ModuleStatus::missing;
    std::optional<FileResolution> binary;        ///< Empty if none was looked for.
    std::optional<FileResolution> symbols;       ///< Empty if none was looked for.
    std::optional<FileResolution> supplementary; ///< Empty if the symbol file names none.
};

/// A source file that a resolved module names.
struct SourceResolution {
    std::string name;   ///< As the line table or the profile names it.
    std::string module; ///< The first module that names it.
    FileResolution file;
};

struct ProfileResolution {
    std::string input; ///< As it was given on the command line; "-" for standard input.
    Profile profile;   ///< Its modules stand in `modules` and are empty here.
    std::vector<ModuleResolution> modules; ///< In the order of the profile.
    std::vector<SourceResolution> sources; ///< Empty unless they were asked for.
    std::vector<PathSubstitution> learned; ///< Renamed prefixes that found files taught.
    std::uint64_t elapsed_us = 0;
};

} // namespace lokata::profile
