#pragma once

#include "facts/source_files.h"

#include <cstdint>
#include <functional>
#include <string_view>

namespace lokata::profile {

/// What a line table is read from: contents of sections, empty for those that are not there. The
/// sections of strings end with a null byte.
struct LineTableSections {
    std::string_view lines;                 ///< .debug_line
    std::string_view line_strings;          ///< .debug_line_str
    std::string_view strings;               ///< .debug_str
    std::string_view supplementary_strings; ///< .debug_str of the supplementary file
    bool big_endian = false;
};

/// Gives the files of the line table at `offset` of .debug_line to `take`, as section 6.2.4 of
/// DWARF 5 and of its predecessors define them. Not by libdw, which gives out no MD5, leaves a
/// relative directory of the compilation away where it should stand, and copies names of any length
/// for each file. `compilation` is that directory, empty if it is not known. Names that no system
/// could open are left out. The bytes that the list of files takes; 0 if it is damaged or of
/// another version.
std::uint64_t readLineTable(LineTableSections const& sections, std::uint64_t offset,
                            std::string_view compilation,
                            std::function<void(SourceFile)> const& take);

} // namespace lokata::profile
