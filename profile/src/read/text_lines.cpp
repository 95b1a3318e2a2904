#include "read/text_lines.h"

#include <charconv>

namespace lokata::profile {

namespace {

bool hasReturnAtEveryLineEnd(std::string_view content) {
    auto end = content.find('\n');
    bool const isAnyLineEnded = end != std::string_view::npos;
    for (; end != std::string_view::npos; end = content.find('\n', end + 1))
        if (end == 0 || content[end - 1] != '\r')
            return false;
    return isAnyLineEnded;
}

} // namespace

Lines::Lines(std::string_view content)
    : m_content(content), m_hasReturns(hasReturnAtEveryLineEnd(content)) {}

bool Lines::next(std::string_view& line) {
    if (m_next >= m_content.size())
        return false;
    m_offset = m_next;
    auto const end = m_content.find('\n', m_next);
    line = m_content.substr(m_next, end == std::string_view::npos ? end : end - m_next);
    m_next += line.size() + 1;
    if (m_hasReturns && !line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return true;
}

std::string_view trimLeft(std::string_view text) {
    auto const start = text.find_first_not_of(c_blank);
    return start == std::string_view::npos ? std::string_view{} : text.substr(start);
}

std::string_view takeWord(std::string_view& rest) {
    rest = trimLeft(rest);
    auto const taken = rest.substr(0, rest.find_first_of(c_blank));
    rest.remove_prefix(taken.size());
    return taken;
}

std::optional<std::uint64_t> hexNumberOf(std::string_view text) {
    if (text.substr(0, 2) == "0x")
        text.remove_prefix(2);
    std::uint64_t value = 0;
    auto const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, value, 16);
    if (text.empty() || result.ec != std::errc() || result.ptr != end)
        return std::nullopt;
    return value;
}

std::optional<std::pair<std::uint64_t, std::uint64_t>> hexPairOf(std::string_view text,
                                                                 char separator) {
    auto const middle = text.find(separator);
    if (middle == std::string_view::npos)
        return std::nullopt;
    auto const first = hexNumberOf(text.substr(0, middle));
    auto const second = hexNumberOf(text.substr(middle + 1));
    if (!first || !second)
        return std::nullopt;
    return std::pair(*first, *second);
}

std::string unescapeMapsName(std::string_view name) {
    std::string plain;
    for (auto at = name.find("\\012"); at != std::string_view::npos; at = name.find("\\012")) {
        plain.append(name.substr(0, at)).push_back('\n');
        name.remove_prefix(at + 4);
    }
    return plain.append(name);
}

bool isListOf(std::string_view content, LineFit (*fitOf)(std::string_view line)) {
    constexpr std::size_t c_judged = 4096;
    constexpr std::size_t c_judgedLines = 64;
    if (content.substr(0, c_judged).find('\0') != std::string_view::npos)
        return false;
    std::size_t judged = 0;
    std::size_t likely = 0;
    std::string_view line;
    for (Lines lines(content); judged < c_judgedLines && lines.next(line);) {
        if (trimLeft(line).empty())
            continue;
        auto const fit = fitOf(line);
        if (fit == LineFit::certain)
            return true;
        ++judged;
        likely += fit == LineFit::likely ? 1 : 0;
    }
    return 2 * likely > judged;
}

void readLines(std::string_view content, bool (*read)(std::string_view, ProfileBuilder&),
               std::string const& complaint, ProfileBuilder& builder) {
    std::string_view line;
    for (Lines lines(content); lines.next(line);)
        if (line.find('\0') != std::string_view::npos)
            builder.error(lines.offset(), "a zero byte in a line of text");
        else if (!trimLeft(line).empty() && !read(line, builder))
            builder.error(lines.offset(), complaint);
}

} // namespace lokata::profile
