#pragma once

#include <cstddef>
#include <string>

/// Text in columns of a terminal. Widths count code points, which is close enough for the names of
/// files.
namespace lokata::cli {

std::size_t lengthOf(std::string const& text);

/// With blanks behind it.
std::string padded(std::string const& text, std::size_t width);

/// The last `width` columns, behind a mark for what is cut: ends with what tells one path from
/// another.
std::string cutAtFront(std::string const& text, std::size_t width);

std::string cutAtEnd(std::string const& text, std::size_t width);

/// Broken at blanks, each line behind a margin of `indent` blanks; words that are too long stay
/// whole. A width of 0 keeps one line.
std::string wrapped(std::string const& text, std::size_t indent, std::size_t width);

} // namespace lokata::cli
