#pragma once

#include <lokata/profile/export.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// The MD5 of each file that one line table names, by the number of the file in the table, as DWARF
/// 5, section 6.2.4, stores them; libdw does not give them out. Empty for a table of another
/// version, without checksums, or that is damaged before its file names end. `section` is the
/// content of .debug_line, `offset` the start of the table in it.
std::vector<std::optional<std::array<std::uint8_t, 16>>>
lineTableMd5(std::string_view section, std::uint64_t offset, bool bigEndian);

} // namespace lokata::profile
