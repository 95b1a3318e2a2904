#pragma once

/// Reads recorded profiles. Every function may be called from any thread and throws nothing but
/// std::bad_alloc; what an input does wrong is told in Profile::errors.
///
/// An input of any format may be packed, by gzip, xz or zstd, which its first bytes tell, and such
/// a file once more. It is unpacked in memory, within the limits; of a packing that is damaged, cut
/// short or too large, what comes before that is read, and the error told. A format that is asked
/// for is that of what is inside.

#include <lokata/profile/profile.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// A kind of input that can be read.
struct FormatName {
    char const* word;        ///< For a command line and for documents, as "perf".
    char const* description; ///< For a person, in a list of them, as "a core file".
};

/// All kinds, in the order in which detectFormat() asks for them.
LOKATA_PROFILE_EXPORT std::vector<FormatName> formats();

/// How an input is read. The limits bound the time and memory that a hostile input can use; all are
/// in bytes, but for `max_expansion`.
struct ReadOptions {
    std::string format; ///< The word of one of formats(); empty: found by content.
    std::uint64_t max_stream = 1ULL << 30;   ///< What is read whole: all but perf.data and cores.
    std::uint64_t max_unpacked = 256U << 20; ///< A packed input, unpacked into memory.
    std::uint64_t max_inflated = 4ULL << 30; ///< Compressed records in all, never held at once.
    /// What comes out of a packed input is at most so many times its size, and 16 MiB more.
    std::uint64_t max_expansion = 100;
    /// What is kept of the input: modules, with their names and build-ids, and names of sources. A
    /// million modules with names of 100 bytes need 225 MiB.
    std::uint64_t max_names = 256U << 20;
    std::uint64_t max_pending = 256U << 20; ///< Events held back to bring them into order.
};

/// The word of the content's format, or of what is packed in it within the default limits; empty
/// for content of no known kind.
LOKATA_PROFILE_EXPORT std::string detectFormat(std::string_view content);

/// Reads a profile from memory, which need only live for the call.
LOKATA_PROFILE_EXPORT Profile readProfile(std::string_view content,
                                          ReadOptions const& options = {});

/// Reads a profile from a file; "-" is standard input. A perf.data or core file that is not packed
/// is read in parts, of any size; all other input whole, within the limits. What a file loses while
/// it is read is told as cut off.
LOKATA_PROFILE_EXPORT Profile readProfileFile(std::string const& path,
                                              ReadOptions const& options = {});

} // namespace lokata::profile
