#pragma once

/// What a file is found by when nothing is known of its name.

#include "facts/elf_facts.h"
#include "search/scan/tree_listing.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

enum class FileKind : std::uint8_t {
    other,         ///< No ELF file, or none that can be read.
    code,          ///< An ELF file with content of what is loaded.
    debug,         ///< A separate debug file.
    supplementary, ///< Nothing to load at all: parts of debug information of several others.
    packed,        ///< A packed kernel or module; its marks are those of what it unpacks to.
    source,        ///< By its extension; no ELF file.
};

struct FileMarks {
    FileKind kind = FileKind::other;
    std::string id; ///< The build-id, or of a source the MD5, in bytes; empty for none.
    std::optional<DebugLink> debug_link{};
};

/// Which marks of a file are wanted.
enum class Reading { elf, packed, source };

/// Whether marks of that kind tell all that such a reading gives.
bool isAnswerTo(Reading reading, FileKind kind);

/// By the extension.
bool isSourceName(std::string_view name);

using TakeMarks = std::function<void(FileNumber, FileMarks const&)>;

/// Reads files of a listing and gives the marks of each that can be read. Of an ELF file the tables
/// of its headers, its notes and its link section are read, all within bounds.
void readMarks(TreeListing const& listing, std::vector<FileNumber> const& files, Reading reading,
               TakeMarks const& take);

} // namespace lokata::profile
