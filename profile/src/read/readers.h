#pragma once

/// The readers of recorded profiles. Each reads what it can and reports the rest in
/// `Profile::errors`; none of them trusts a length or a count of the input.

#include <lokata/profile/read.h>

#include <string_view>

namespace lokata::profile {

class ByteSource;

/// One format of input. The list of all of them stands in formats.cpp.
struct FormatReader {
    FormatName name;
    /// True if the content is of this format; asked in the order of the list.
    bool (*matches)(std::string_view content);
    /// Gives a profile whose format is still to be filled in.
    Profile (*read)(std::string_view content, ReadOptions const& options);
    /// The same from a source of which only parts are read; null for formats that need it all.
    Profile (*read_parts)(ByteSource const& source, ReadOptions const& options) = nullptr;
    /// Notes in a profile what its content does not tell, but the file that it was read out of;
    /// null for formats without that.
    void (*note_file)(int descriptor, Profile& profile) = nullptr;
};

/// The reader of content, or of a word; null if there is none.
FormatReader const* readerFor(std::string_view content);
FormatReader const* readerOfWord(std::string_view word);

} // namespace lokata::profile
