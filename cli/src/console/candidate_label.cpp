#include "console/candidate_label.h"

#include "console/text_layout.h"

#include <algorithm>

namespace lokata::cli {

std::size_t candidateLabelWidth() {
    std::size_t width = 0;
    for (Text const fate :
         {Text::found, Text::rejected, Text::nothing, Text::no_file, Text::unneeded, Text::unread})
        width = std::max(width, lengthOf(textOf(fate)) + 1);
    return width;
}

std::string candidateLabel(Text fate, TextStyle style, bool colour) {
    std::string const word = textOf(fate);
    return painted(word, style, colour) + std::string(candidateLabelWidth() - lengthOf(word), ' ');
}

} // namespace lokata::cli
