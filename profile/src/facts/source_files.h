#pragma once

/// The source files that the line tables of a binary or symbol file name.

#include <lokata/profile/export.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// What the compiler recorded of a source file. DWARF 5, section 6.2.4, defines the MD5; compilers
/// write 0 for a time or size that they do not record.
struct SourceIdentity {
    std::optional<std::array<std::uint8_t, 16>> md5;
    std::uint64_t modification_time = 0; ///< Seconds since the epoch.
    std::uint64_t size = 0;              ///< In bytes.
};

/// Of a source file that is looked at, in bytes; compilers are long out of memory by then.
constexpr std::uint64_t c_maxSource = 256U << 20;

struct SourceFile {
    /// In bytes from the file. Absolute where the compiler recorded its directory.
    std::string name;
    SourceIdentity identity;
};

/// What a search for a source goes by.
struct WantedSource {
    SourceFile file;
    std::string binary;        ///< Of a module that names it; empty if none was found.
    std::string oldest_binary; ///< Of all that name it, the one written first; empty for none.
};

struct SourceFiles {
    std::vector<SourceFile> files; ///< By name; one entry a name.
    std::string error;             ///< Why nothing, or not all, could be read.
};

/// Reads the line tables of a file. `supplementary` is the file that its .gnu_debugaltlink names,
/// empty if there is none. A relocatable file is refused: its names are only offsets until it is
/// linked. Callable from any thread.
SourceFiles readSourceFiles(std::string const& path, std::string const& supplementary = "");

} // namespace lokata::profile
