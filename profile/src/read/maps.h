#pragma once

/// The mappings of a process, as the kernel lists them.

#include <lokata/profile/profile.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lokata::profile {

/// A line of /proc/PID/maps, as proc(5) describes it.
struct MapsLine {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint64_t offset = 0; ///< In bytes from the start of the file.
    bool executable = false;
    std::optional<MappedFile> file; ///< Empty for memory without one.
    std::string_view name;          ///< As it stands there; may be empty.
};

/// Empty for a line of another form.
std::optional<MapsLine> parseMapsLine(std::string_view line);

/// "START-END", as the kernel names the mapping in the directory map_files of a process.
std::string rangeOf(MapsLine const& mapping);

/// Out of the first pages of a mapping in which a file begins, of the process whose directory
/// below /proc that is. Empty if there is none or the memory may not be read.
BuildId buildIdInMemory(std::string const& directory, MapsLine const& mapping);

} // namespace lokata::profile
