#pragma once

/// What the readers of lists in text share: lines, columns, and whether a text is of a form.

#include "read/profile_builder.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace lokata::profile {

constexpr std::string_view c_blank = " \t";

/// The content line by line, without line ends. A carriage return belongs to the line end where
/// every line has one, and else to the name before it.
class Lines {
public:
    explicit Lines(std::string_view content);

    bool next(std::string_view& line);

    /// Of the latest line, in bytes from the start of the content.
    std::size_t offset() const { return m_offset; }

private:
    std::string_view m_content;
    std::size_t m_next = 0;
    std::size_t m_offset = 0;
    bool m_hasReturns;
};

std::string_view trimLeft(std::string_view text);

/// The next word, taken off the front of `rest`.
std::string_view takeWord(std::string_view& rest);

/// A hexadecimal number that is all of `text`, with or without 0x; empty for other texts.
std::optional<std::uint64_t> hexNumberOf(std::string_view text);

/// Two of them with the separator between.
std::optional<std::pair<std::uint64_t, std::uint64_t>> hexPairOf(std::string_view text,
                                                                 char separator);

/// A name as the kernel shows it: a line feed as "\012", and nothing else that way
/// (fs/proc/task_mmu.c), so other backslashes stand for themselves.
std::string unescapeMapsName(std::string_view name);

/// How far a line has the form that a reader knows.
enum class LineFit {
    foreign, ///< Of another form.
    likely,  ///< Of this form, if damaged, or of a form that other lines can have by chance.
    certain, ///< Of this form, which no other line has.
};

/// True if one of the first lines is certain or more than half of them are likely; so a damaged
/// list is still one, and a text that holds a likely line by chance is none. Empty lines do not
/// count. False for what is no text.
bool isListOf(std::string_view content, LineFit (*fitOf)(std::string_view line));

/// Gives each line that is not blank to `read`, and reports those that it does not take. No line
/// with a zero byte is read: no tool writes one, and what stands behind it would be lost on the way
/// to the file system.
void readLines(std::string_view content, bool (*read)(std::string_view, ProfileBuilder&),
               std::string const& complaint, ProfileBuilder& builder);

} // namespace lokata::profile
