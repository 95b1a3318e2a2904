#include "console/text_layout.h"

#include <algorithm>

namespace lokata::cli {

namespace {

/// Where the code point number `count` of the text begins.
std::size_t offsetOfColumn(std::string const& text, std::size_t count) {
    std::size_t at = 0;
    for (; count > 0 && at < text.size(); --count)
        do
            ++at;
        while (at < text.size() && (text[at] & 0xc0) == 0x80);
    return at;
}

} // namespace

std::size_t lengthOf(std::string const& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

std::string padded(std::string const& text, std::size_t width) {
    std::size_t const length = lengthOf(text);
    return length < width ? text + std::string(width - length, ' ') : text;
}

std::string cutAtFront(std::string const& text, std::size_t width) {
    std::size_t const length = lengthOf(text);
    return length <= width || width < 2
               ? text
               : "…" + text.substr(offsetOfColumn(text, length - width + 1));
}

std::string cutAtEnd(std::string const& text, std::size_t width) {
    return lengthOf(text) <= width || width < 2
               ? text
               : text.substr(0, offsetOfColumn(text, width - 1)) + "…";
}

std::string wrapped(std::string const& text, std::size_t indent, std::size_t width) {
    std::string const margin(indent, ' ');
    std::string result = margin;
    std::size_t column = indent;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end = std::min(text.find(' ', at), text.size());
        std::string const word = text.substr(at, end - at);
        if (column > indent && width > 0 && column + 1 + lengthOf(word) > width) {
            result += "\n" + margin;
            column = indent;
        }
        result += (column > indent ? " " : "") + word;
        column += lengthOf(word) + (column > indent ? 1 : 0);
        at = end + 1;
    }
    return result;
}

} // namespace lokata::cli
