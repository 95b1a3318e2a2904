#pragma once

#include <lokata/profile/resolution.h>

#include <cstdint>
#include <string>

/// What a whole resolution comes to.
namespace lokata::cli {

/// What must be there of each module.
enum class Requirement {
    file,  ///< Its file, proven or accepted. What has no file behind it does not count.
    names, ///< A file that gives the names of its functions, at least.
    lines, ///< All of its debug information.
};

constexpr profile::Word<Requirement> c_requirements[]{
    {Requirement::file, "file"},
    {Requirement::names, "names"},
    {Requirement::lines, "lines"},
};

/// What counts.
struct VerdictScope {
    Requirement requirement = Requirement::file;
    bool user_only = false; ///< Leaves the kernel and its modules out.
};

/// True if all that was recorded could be read, and all modules that count have what is required.
bool isComplete(profile::ProfileResolution const& resolution, VerdictScope const& scope);

/// How much can be shown, a line for each event that was recorded, and how many modules have each
/// status.
std::string resolutionSummary(profile::ProfileResolution const& resolution,
                              VerdictScope const& scope);

/// What a person calls an event of the recording, or the samples where it tells none; printable.
std::string shareTitle(profile::Profile const& profile, std::size_t index);

/// The word for a person, where documents have that of `c_moduleStatuses`.
std::string statusText(profile::ModuleStatus status);

/// Such as "94.8 %", with the decimal point of the language of the texts. Never rounds up to all or
/// down to nothing; the page does the same.
std::string share(std::uint64_t part, std::uint64_t whole);

} // namespace lokata::cli
