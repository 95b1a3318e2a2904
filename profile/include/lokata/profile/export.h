#pragma once

/// Marks what the shared library exports; everything else in it stays hidden.
#define LOKATA_PROFILE_EXPORT __attribute__((visibility("default")))

/// The version of the binary interface is a part of every name of this library, so that two
/// versions of it can live in one process. Clients write `lokata::profile` alone. All headers, the
/// private ones too, come after this declaration: what reopens `lokata::profile` then extends the
/// namespace of the version.
namespace lokata {
inline namespace v2_13 {
namespace profile {}
} // namespace v2_13
} // namespace lokata
