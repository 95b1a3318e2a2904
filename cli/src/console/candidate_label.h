#pragma once

#include "console/terminal.h"
#include "console/texts.h"

#include <string>

namespace lokata::cli {

/// The word for what became of a candidate, with blanks behind it up to the width of the longest,
/// and one more.
std::string candidateLabel(Text fate, TextStyle style, bool colour);

/// The columns that it takes.
std::size_t candidateLabelWidth();

} // namespace lokata::cli
