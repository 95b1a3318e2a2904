#pragma once

/// Names read out of files: what they denote, and whether they may be used or shown.

#include "profile/profile.h"

#include <string>
#include <string_view>

namespace lokata::profile {

/// True when the name may be tried as a path: not empty, at most 4096 bytes, without a control
/// byte and without a ".." component.
bool isSafeName(std::string_view name);

/// True when the name may stand as one component of a path: safe, without a slash, and not ".".
bool isSafeBareName(std::string_view name);

/// The name for a terminal or a page: backslashes, control characters, bytes that are not UTF-8,
/// and characters that change the direction of writing come as \xNN, all else unchanged.
std::string displayName(std::string_view name);

/// The recorded name without the mark that the kernel adds for a removed file.
std::string_view withoutDeletedMark(std::string_view name);

/// What a name denotes when nothing but the name is known.
ModuleKind classifyName(std::string_view name);

/// True for kinds that a file on disk can stand for.
bool hasFile(ModuleKind kind);

/// Lower-case hexadecimal, two digits a byte.
std::string toHex(std::vector<std::uint8_t> const& bytes);

} // namespace lokata::profile
