#pragma once

/// A resolution for programs. The members of the document stand in docs/json.md and, for
/// validators, in docs/resolve.schema.json.

#include "profile/resolution.h"

#include <string>

namespace lokata::profile {

/// Raised when a document could mislead who knows only the former version. New members alone do
/// not raise it.
constexpr int c_jsonReportVersion = 1;

/// One document on one line, without a newline behind it: the documents of several inputs make JSON
/// Lines. UTF-8 and printable whatever bytes the names are of. Callable from any thread.
std::string toJson(ProfileResolution const& resolution);

} // namespace lokata::profile
