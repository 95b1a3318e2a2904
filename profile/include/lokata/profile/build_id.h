#pragma once

/// Build-ids: the bytes of the note NT_GNU_BUILD_ID, by which a binary, its symbol file and a
/// recorded module know each other.

#include <lokata/profile/export.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// Empty stands for none.
using BuildId = std::vector<std::uint8_t>;

/// In bytes. What is shorter or longer counts as damage, wherever it stands: linkers write 8, 16 or
/// 20 bytes, and `--build-id=0x...` as many as the user gives.
constexpr std::size_t c_minBuildId = 3;
constexpr std::size_t c_maxBuildId = 64;

/// All that some recorders keep of a build-id: its first 16 bytes, with zeros behind a shorter one.
using DebugId = std::array<std::uint8_t, 16>;

/// Of a build-id that is not empty.
LOKATA_PROFILE_EXPORT DebugId debugIdOf(BuildId const& buildId);

/// True for bytes that can be a build-id: of a length within the limits, and not all zero.
LOKATA_PROFILE_EXPORT bool isBuildId(std::string_view bytes);

/// A build-id of raw bytes; empty if they cannot be one.
LOKATA_PROFILE_EXPORT BuildId buildIdOf(std::string_view bytes);

/// Lower-case hexadecimal, two digits a byte; empty for none.
LOKATA_PROFILE_EXPORT std::string toHex(BuildId const& buildId);
LOKATA_PROFILE_EXPORT std::string toHex(DebugId const& debugId);

/// Reads hexadecimal digits of either case. Empty if the text is no build-id.
LOKATA_PROFILE_EXPORT BuildId buildIdFromHex(std::string_view text);

} // namespace lokata::profile
