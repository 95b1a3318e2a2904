#pragma once

/// Names read out of files: what they denote, and whether they may be used or shown.

#include <lokata/profile/profile.h>

#include <string>
#include <string_view>

namespace lokata::profile {

/// True when the name may stand as one component of a path: safe, without a slash, and not ".".
bool isSafeBareName(std::string_view name);

/// True for a name that holds a control character of ASCII.
bool hasControlByte(std::string_view name);

/// The recorded name without the mark that the kernel adds for a removed file.
std::string_view withoutDeletedMark(std::string_view name);

/// "MAJOR:MINOR INODE", the device in hexadecimal digits, as /proc/PID/maps spells them.
std::string deviceAndInode(MappedFile const& file);

/// What a name denotes when nothing but the name is known.
ModuleKind classifyName(std::string_view name);

/// True for kinds that a file on disk can stand for.
bool hasFile(ModuleKind kind);

/// True for kinds of a virtual machine.
bool isGuest(ModuleKind kind);

} // namespace lokata::profile
