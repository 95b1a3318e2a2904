#pragma once

/// One function per kind of input. Each reads what it can into the builder and tells the rest as
/// errors; none of them trusts a length or a count of the input.

#include "profile_builder.h"

#include <string_view>

namespace lokata::profile {

/// The perf.data format, in file and in pipe mode and in either byte order, as
/// tools/perf/Documentation/perf.data-file-format.txt and <linux/perf_event.h> describe it.
Profile readPerfData(std::string_view content, ReadOptions const& options);

/// An ELF core file: the NT_FILE note, and build-ids out of the dumped pages.
Profile readCore(std::string_view content, ReadOptions const& options);

/// A pprof profile, plain or gzipped.
Profile readPprof(std::string_view content, ReadOptions const& options);

/// Any of the text formats.
Profile readText(std::string_view content, Format format, ReadOptions const& options);

/// The text format that the first lines speak for; a list of paths when nothing else fits.
Format detectText(std::string_view content);

/// True when the content starts as a pprof message does.
bool looksLikePprof(std::string_view content);

} // namespace lokata::profile
