#pragma once

/// ELF files in memory, of which only the beginning may be there.

#include <lokata/profile/export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <gelf.h>

namespace lokata::profile {

/// As much of a mapped file as is searched for its notes. The kernel dumps at least the first
/// page of an ELF file, and linkers put the notes there.
constexpr std::uint64_t c_noteWindow = 64UL * 1024;
/// Segments that are looked at for notes; real files have one to three.
constexpr std::size_t c_maxNoteSegments = 64;

using ElfHandle = std::unique_ptr<Elf, int (*)(Elf*)>;

/// Null if libelf cannot take it. The image must outlive the handle.
ElfHandle openElf(std::string_view image);

/// The build-id of the ELF file whose first bytes are `image`, in raw bytes; empty when it is not
/// in there.
std::string buildIdInImage(std::string_view image);

} // namespace lokata::profile
