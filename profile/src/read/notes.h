#pragma once

/// The notes of an ELF file, in a section SHT_NOTE or a segment PT_NOTE.

#include "read/cursor.h"

#include <lokata/profile/build_id.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

#include <elf.h>

namespace lokata::profile {

/// The build-id note as linkers write it.
inline bool isBuildIdNote(std::uint32_t type, std::string_view owner) {
    return type == NT_GNU_BUILD_ID && owner == std::string_view(ELF_NOTE_GNU, sizeof ELF_NOTE_GNU);
}

/// Gives type, owner (with its null character) and content of each whole note to `take`, until that
/// returns true. `alignment` is that of the section or segment. The gABI wants names and contents
/// of 64-bit files padded to 8 bytes, but all files have 4, and only notes in a part that is itself
/// aligned to 8 (.note.gnu.property) have 8; so only that value counts (elfutils decides likewise).
template <class Take>
void eachNote(std::string_view notes, bool bigEndian, std::uint64_t alignment, Take const& take) {
    auto const skipPadding = [unit = alignment == 8 ? 8U : 4U](Cursor& cursor) {
        cursor.skip(std::min((unit - cursor.offset() % unit) % unit, cursor.remaining()));
    };
    for (Cursor cursor(notes, bigEndian); cursor.remaining() > 0;) {
        std::uint32_t const ownerSize = cursor.u32();
        std::uint32_t const size = cursor.u32();
        std::uint32_t const type = cursor.u32();
        std::string_view const owner = cursor.bytes(ownerSize);
        skipPadding(cursor);
        std::string_view const content = cursor.bytes(size);
        skipPadding(cursor);
        if (!cursor.ok() || take(type, owner, content))
            return;
    }
}

/// The first build-id among the notes, in raw bytes; empty if there is none.
inline std::string_view buildIdInNotes(std::string_view notes, bool bigEndian,
                                       std::uint64_t alignment) {
    std::string_view found;
    eachNote(notes, bigEndian, alignment,
             [&](std::uint32_t type, std::string_view owner, std::string_view content) {
                 if (isBuildIdNote(type, owner) && isBuildId(content))
                     found = content;
                 return !found.empty();
             });
    return found;
}

} // namespace lokata::profile
