#include "read/names.h"
#include "read/profile_builder.h"
#include "read/readers.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace lokata::profile {

namespace {

constexpr std::string_view c_blank = " \t";

/// The content line by line, without line ends; a carriage return before one is dropped.
class Lines {
public:
    explicit Lines(std::string_view content) : m_content(content) {}

    bool next(std::string_view& line) {
        if (m_next >= m_content.size())
            return false;
        m_offset = m_next;
        auto const end = m_content.find('\n', m_next);
        line = m_content.substr(m_next, end == std::string_view::npos ? end : end - m_next);
        m_next += line.size() + 1;
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        return true;
    }

    std::size_t offset() const { return m_offset; }

private:
    std::string_view m_content;
    std::size_t m_next = 0;
    std::size_t m_offset = 0;
};

std::string_view trimLeft(std::string_view text) {
    auto const start = text.find_first_not_of(c_blank);
    return start == std::string_view::npos ? std::string_view{} : text.substr(start);
}

/// The next word, taken off the front of `rest`.
std::string_view word(std::string_view& rest) {
    rest = trimLeft(rest);
    auto const taken = rest.substr(0, rest.find_first_of(c_blank));
    rest.remove_prefix(taken.size());
    return taken;
}

/// A hexadecimal number that is all of `text`, with or without 0x.
bool isAddress(std::string_view text) {
    if (text.substr(0, 2) == "0x")
        text.remove_prefix(2);
    std::uint64_t value = 0;
    auto const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, value, 16);
    return !text.empty() && result.ec == std::errc() && result.ptr == end;
}

bool isAddressPair(std::string_view text, char separator) {
    auto const middle = text.find(separator);
    return middle != std::string_view::npos && isAddress(text.substr(0, middle)) &&
           isAddress(text.substr(middle + 1));
}

void add(ProfileBuilder& builder, std::string_view name, std::string_view buildId = {}) {
    builder.module({name, classifyName(name), buildId, 0});
}

/// "HEX NAME", where the name may hold blanks. perf fills the column of 40 digits with blanks for a
/// file without a build-id.
bool readBuildIdLine(std::string_view line, ProfileBuilder& builder) {
    constexpr std::size_t c_column = 40;
    auto rest = line;
    bool const unknown = line.find_first_not_of(' ') > c_column;
    auto const id = unknown ? BuildId() : buildIdFromHex(word(rest));
    auto const name = trimLeft(rest);
    if ((id.empty() && !unknown) || name.empty())
        return false;
    add(builder, name, bytesOf(id));
    return true;
}

/// Splits "FILE DEBUGFILE MODULE", where a file may hold blanks: the second column is "-", "." or
/// an absolute path and never holds the first.
std::string_view unstripFile(std::string_view columns, std::string_view& module) {
    std::size_t split = std::string_view::npos;
    for (std::string_view const mark : {" - ", " . ", " /"})
        split = std::min(split, columns.find(mark, 1));
    auto const file = columns.substr(0, split);
    // "[vdso: PID]" is the one module whose name holds a blank.
    auto const last = columns.back() == ']' ? columns.rfind(" [") : columns.find_last_of(c_blank);
    module = last == std::string_view::npos ? std::string_view{} : columns.substr(last + 1);
    return file;
}

/// "START+SIZE BUILDID[@ADDRESS] FILE DEBUGFILE MODULE", "-" for what is not known and a FILE of
/// "." for a module that is found in memory only: libdwfl as eu-unstrip --list-only shows it.
bool readUnstripLine(std::string_view line, ProfileBuilder& builder) {
    auto rest = line;
    if (!isAddressPair(word(rest), '+'))
        return false;
    auto const recorded = word(rest);
    auto const id = buildIdFromHex(recorded.substr(0, recorded.find('@')));
    auto const columns = trimLeft(rest);
    if (columns.empty() || (id.empty() && recorded != "-"))
        return false;
    std::string_view module;
    auto const file = unstripFile(columns, module);
    bool const isPath = !file.empty() && file != "-" && file != ".";
    add(builder, isPath || module.empty() ? file : module, bytesOf(id));
    return true;
}

/// The kernel writes a line feed in a mapped name as "\012" and nothing else that way
/// (fs/proc/task_mmu.c), so other backslashes stand for themselves.
std::string unescapeMapsName(std::string_view name) {
    std::string plain;
    for (auto at = name.find("\\012"); at != std::string_view::npos; at = name.find("\\012")) {
        plain.append(name.substr(0, at)).push_back('\n');
        name.remove_prefix(at + 4);
    }
    return plain.append(name);
}

struct MapsLine {
    bool executable = false;
    std::string_view name;
};

std::optional<MapsLine> parseMapsLine(std::string_view line) {
    auto rest = line;
    auto const range = word(rest);
    auto const access = word(rest);
    bool const fits = isAddressPair(range, '-') && access.size() == 4 &&
                      access.find_first_not_of("rwxsp-") == std::string_view::npos;
    bool const complete =
        isAddress(word(rest)) && isAddressPair(word(rest), ':') && isAddress(word(rest));
    if (!fits || !complete)
        return std::nullopt;
    return MapsLine{access[2] == 'x', trimLeft(rest)};
}

/// Names with an executable mapping are the modules; when no mapping is executable, as in a
/// filtered listing, all names are.
void readMaps(std::string_view content, ProfileBuilder& builder) {
    std::vector<std::string> others;
    bool anyExecutable = false;
    std::string_view line;
    for (Lines lines(content); lines.next(line);) {
        auto const mapping = parseMapsLine(line);
        if (!mapping) {
            if (!trimLeft(line).empty())
                builder.error(lines.offset(), "not a line of a memory map");
        } else if (mapping->executable) {
            anyExecutable = true;
            if (!mapping->name.empty())
                add(builder, unescapeMapsName(mapping->name));
        } else if (!mapping->name.empty() && !anyExecutable) {
            others.push_back(unescapeMapsName(mapping->name));
        }
    }
    if (!anyExecutable)
        for (auto const& name : others)
            add(builder, name);
}

bool readPathLine(std::string_view line, ProfileBuilder& builder) {
    if (line.find('\0') != std::string_view::npos)
        return false;
    add(builder, line);
    return true;
}

using LineReader = bool (*)(std::string_view, ProfileBuilder&);

void readLines(std::string_view content, LineReader read, std::string const& complaint,
               ProfileBuilder& builder) {
    std::string_view line;
    for (Lines lines(content); lines.next(line);)
        if (!trimLeft(line).empty() && !read(line, builder))
            builder.error(lines.offset(), complaint);
}

/// True if one of the first lines is of the form that `reads` knows.
template <class Reads>
bool hasLine(std::string_view content, Reads const& reads) {
    constexpr std::size_t c_judged = 4096;
    constexpr int c_judgedLines = 16;
    if (content.substr(0, c_judged).find('\0') != std::string_view::npos)
        return false;
    std::string_view line;
    Lines lines(content);
    for (int i = 0; i < c_judgedLines && lines.next(line); ++i)
        if (reads(line))
            return true;
    return false;
}

template <LineReader readLine>
bool hasLineOf(std::string_view content) {
    ReadOptions const options;
    ProfileBuilder scratch(options);
    return hasLine(content, [&](std::string_view line) { return readLine(line, scratch); });
}

bool hasMapsLine(std::string_view content) {
    return hasLine(
        content, [](std::string_view line) { return parseMapsLine(line).has_value(); });
}

bool isText(std::string_view content) {
    return hasLine(
        content, [](std::string_view) { return true; });
}

template <void (*read)(std::string_view, ProfileBuilder&)>
Profile readInto(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    read(content, builder);
    return builder.take();
}

void readBuildIdList(std::string_view content, ProfileBuilder& builder) {
    readLines(content, readBuildIdLine, "not a build-id and a name", builder);
}

void readUnstripList(std::string_view content, ProfileBuilder& builder) {
    readLines(content, readUnstripLine, "not a line of a module list", builder);
}

void readPathList(std::string_view content, ProfileBuilder& builder) {
    readLines(content, readPathLine, "a zero byte in a list of paths", builder);
}

} // namespace

extern FormatReader const c_maps{
    {"maps", "the mappings of a process, as /proc/PID/maps"}, hasMapsLine, readInto<readMaps>};
extern FormatReader const c_unstripList{{"unstrip", "a list of modules of eu-unstrip -n"},
                                        hasLineOf<readUnstripLine>,
                                        readInto<readUnstripList>};
extern FormatReader const c_buildIdList{{"buildid-list", "a list of perf buildid-list"},
                                        hasLineOf<readBuildIdLine>,
                                        readInto<readBuildIdList>};
extern FormatReader const c_pathList{
    {"paths", "a list of paths, one a line"}, isText, readInto<readPathList>};

} // namespace lokata::profile
