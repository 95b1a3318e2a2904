#pragma once

/// A resolution for programs and for browsers. All functions are callable from any thread and throw
/// std::bad_alloc only, and what a stream is told to throw. Those that write to one hold one module
/// or source file at a time as text, however many there are. What goes wrong in writing shows in
/// the state of the stream.

#include <lokata/profile/resolution.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace lokata::profile {

/// Of the documents. Raised when a program that was written for the former version could misread a
/// new one; new members alone do not raise it.
constexpr int c_jsonReportVersion = 1;

/// One document on one line, without a newline behind it: the documents of several inputs make JSON
/// Lines. UTF-8 and printable whatever bytes the names are of. The members stand in docs/json.md
/// and, for validators, in docs/resolve.schema.json.
LOKATA_PROFILE_EXPORT void writeJson(std::ostream& out, ProfileResolution const& resolution);

/// What writeJson() writes, as one text.
LOKATA_PROFILE_EXPORT std::string toJson(ProfileResolution const& resolution);

/// Writes one page that needs no other file and no network, with a view for each input. It holds
/// the documents of writeJson(); nothing of a recorded name can act as markup or script.
LOKATA_PROFILE_EXPORT void writeHtml(std::ostream& out,
                                     std::vector<ProfileResolution> const& resolutions);

} // namespace lokata::profile
