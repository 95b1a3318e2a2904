#pragma once

/// A resolution in few words: how much of it is resolved, and the reason for what is not.

#include "profile/resolution.h"

#include <cstdint>
#include <string>

namespace lokata::profile {

/// What the modules of one status come to.
struct StatusTotal {
    std::uint64_t modules = 0;
    std::uint64_t samples = 0;
};

StatusTotal totalOf(ProfileResolution const& resolution, ModuleStatus status);

/// The refusal that says most about why a search failed: a file of another identity before a file
/// that could not be judged, and that before a file that is not there. The earliest among equals;
/// null if nothing was refused.
RefusedCandidate const* mostTellingRefusal(FileResolution const& file);

/// Why a file was not found, for a person and printable; empty if it was.
std::string missingReason(FileResolution const& file);

/// Why a module is not resolved, for a person and printable; empty if it is.
std::string statusReason(ModuleResolution const& module);

} // namespace lokata::profile
