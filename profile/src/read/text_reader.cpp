#include "read/names.h"
#include "read/profile_builder.h"
#include "read/readers.h"
#include "read/text_lines.h"

#include <toolbelt2/path.h>
#include <toolbelt2/text.h>

#include <algorithm>
#include <cctype>

namespace lokata::profile {

namespace {

using toolbelt2::ends_with;
using toolbelt2::last_component;
using toolbelt2::starts_with;

/// perf fills the column of 40 digits with blanks for a file without a build-id.
constexpr std::size_t c_idColumn = 40;
/// A sound build-id of so many digits is nothing else.
constexpr std::size_t c_leastCertain = 16;

/// "HEX NAME", where the name may hold blanks.
bool readBuildIdLine(std::string_view line, ProfileBuilder& builder) {
    auto rest = line;
    bool const unknown = line.find_first_not_of(' ') > c_idColumn;
    auto const id = unknown ? BuildId() : buildIdFromHex(takeWord(rest));
    auto const name = trimLeft(rest);
    if ((id.empty() && !unknown) || name.empty())
        return false;
    builder.module({name, classifyName(name), bytesOf(id), 0});
    return true;
}

/// Paths may hold blanks, as what stands behind the number of a change or of a message does.
bool isModuleName(std::string_view name) {
    return !name.empty() && (name.front() == '/' || name.front() == '[' ||
                             withoutDeletedMark(name).find(' ') == std::string_view::npos);
}

/// A word of six characters of which three in four are hexadecimal digits, with a name behind it,
/// is taken for a build-id, if a damaged one.
LineFit fitOfBuildIdLine(std::string_view line) {
    constexpr std::size_t c_leastDamaged = 6;
    if (line.find_first_not_of(' ') == c_idColumn + 1)
        return LineFit::likely;
    auto rest = line;
    auto const id = takeWord(rest);
    if (!isModuleName(trimLeft(rest)) || id.size() < c_leastDamaged)
        return LineFit::foreign;
    auto const digits = static_cast<std::size_t>(
        std::count_if(id.begin(), id.end(), [](unsigned char c) { return std::isxdigit(c) != 0; }));
    if (id.size() >= c_leastCertain && !buildIdFromHex(id).empty())
        return LineFit::certain;
    return 4 * digits >= 3 * id.size() ? LineFit::likely : LineFit::foreign;
}

/// "[ADDRESS [SIZE]] LETTER NAME", as nm and /proc/kallsyms list symbols: an address reads as a
/// build-id, and the rest as a name.
LineFit fitOfSymbolLine(std::string_view line) {
    constexpr std::string_view c_letters = "-?AaBbCcDdGgIiNnpRrSsTtUuVvWw";
    auto word = takeWord(line);
    for (int number = 0; number < 2 && word.size() > 1 && hexNumberOf(word); ++number)
        word = takeWord(line);
    bool const isLetter = word.size() == 1 && c_letters.find(word) != std::string_view::npos;
    return isLetter && !trimLeft(line).empty() ? LineFit::likely : LineFit::foreign;
}

bool isBuildIdList(std::string_view content) {
    return isListOf(content, fitOfBuildIdLine) && !isListOf(content, fitOfSymbolLine);
}

/// What a line of eu-unstrip says of a module's name.
struct UnstripName {
    std::string_view name;
    bool is_opened = false; ///< A file of this very name was there.
};

/// The module behind a DEBUGFILE, which is "-", "." or an absolute path; may be empty.
std::string_view moduleBehind(std::string_view columns) {
    if (columns == "-" || columns == ".")
        return {};
    if (starts_with(columns, "- ") || starts_with(columns, ". "))
        return columns.substr(2);
    // A name may hold blanks, and so may a path; but nearly all paths of debug files end alike.
    constexpr std::string_view c_end = ".debug ";
    if (auto const end = columns.find(c_end); end != std::string_view::npos)
        return columns.substr(end + c_end.size());
    auto const start = std::min({columns.find(" /"), columns.find(" ["), columns.rfind(' ')});
    return start == std::string_view::npos ? std::string_view{} : columns.substr(start + 1);
}

/// True if `columns` can be a DEBUGFILE and that module.
bool endsInModule(std::string_view columns, std::string_view module) {
    if (starts_with(columns, "- ") || starts_with(columns, ". "))
        return columns.substr(2) == module;
    return starts_with(columns, "/") && columns.size() > module.size() + 1 &&
           ends_with(columns, module) && columns[columns.size() - module.size() - 1] == ' ';
}

/// Reads "FILE DEBUGFILE MODULE", where each may hold blanks. MODULE is FILE once more for a
/// process, mostly its last component for a core, and empty for --executable: what fits so is right
/// before the first border that is possible. A module with a path of its own is a file that was
/// found elsewhere, by its build-id.
UnstripName readUnstripNames(std::string_view columns) {
    if (starts_with(columns, "- ") || starts_with(columns, ". "))
        return {moduleBehind(columns.substr(2)), false};
    auto first = std::string_view::npos;
    for (auto at = columns.find(' ', 1); at != std::string_view::npos;
         at = columns.find(' ', at + 1)) {
        auto const file = columns.substr(0, at);
        auto const rest = columns.substr(at + 1);
        if (endsInModule(rest, file) || endsInModule(rest, last_component(file)) || rest == "- " ||
            rest == ". " || rest == "-" || rest == ".")
            return {file, true};
        if (starts_with(rest, "- ") || starts_with(rest, ". ") || starts_with(rest, "/"))
            first = std::min(first, at);
    }
    if (first == std::string_view::npos)
        return {};
    auto const module = moduleBehind(columns.substr(first + 1));
    return starts_with(module, "/") ? UnstripName{module, false}
                                    : UnstripName{columns.substr(0, first), true};
}

/// "START+SIZE BUILDID[@ADDRESS] FILE DEBUGFILE MODULE", as eu-unstrip --list-only shows the
/// modules of libdwfl. "-" stands for what is not known, "." as FILE for a module that is found in
/// memory only and has the name that the kernel shows.
bool readUnstripLine(std::string_view line, ProfileBuilder& builder) {
    auto rest = line;
    if (!hexPairOf(takeWord(rest), '+'))
        return false;
    auto const recorded = takeWord(rest);
    auto const id = buildIdFromHex(recorded.substr(0, recorded.find('@')));
    if (id.empty() && recorded != "-")
        return false;
    auto const [name, isOpened] = readUnstripNames(trimLeft(rest));
    if (name.empty())
        return false;
    auto const plain = isOpened ? std::string(name) : unescapeMapsName(name);
    auto const kind = classifyName(plain);
    bool const isThere = isOpened && kind == ModuleKind::deleted_file;
    builder.module({plain, isThere ? ModuleKind::file : kind, bytesOf(id), 0});
    return true;
}

/// Nothing else begins so; what is damaged behind it is told line by line.
LineFit fitOfUnstripLine(std::string_view line) {
    return hexPairOf(takeWord(line), '+') ? LineFit::certain : LineFit::foreign;
}

/// What only the last component of a binary's name holds: ".so" and the like, at its end or before
/// a version or a packing.
bool endsLikeBinary(std::string_view name) {
    name = last_component(name);
    for (std::string_view const mark : {".so", ".ko", ".debug", ".exe", ".dll"})
        for (auto at = name.find(mark); at != std::string_view::npos;
             at = name.find(mark, at + 1)) {
            auto const rest = name.substr(at + mark.size());
            bool const isVersion = rest.size() > 1 && rest.front() == '.' && rest.back() != '.';
            if (rest.empty() || (isVersion && rest.find(' ') == std::string_view::npos))
                return true;
        }
    return false;
}

/// Letters, digits and what else names are made of, without the blanks, quotes, brackets, colons
/// and commas of other texts.
bool isPlainWord(std::string_view text) {
    if (text.empty())
        return false;
    auto const isPlain = [](unsigned char c) {
        return c < 0x80 &&
               (std::isalnum(c) != 0 ||
                std::string_view("._+-~@#%/").find(static_cast<char>(c)) != std::string_view::npos);
    };
    auto const first = static_cast<unsigned char>(text.front());
    return (std::isalnum(first) != 0 || first == '.' || first == '_') &&
           std::all_of(text.begin(), text.end(), isPlain);
}

/// Absolute, but no comment of C or C++; below "." or ".."; a name in brackets; a plain word; or
/// what ends like a binary and holds no character of programs and tables; but no build-id, which
/// lost its name. Any text could be a list of names: one whose lines have none of these marks, be
/// it a program, a table or prose, is told to be no list rather than searched for.
bool namesFile(std::string_view line) {
    constexpr std::size_t c_longest = 4096;
    line = withoutDeletedMark(line);
    if (line.empty() || line.size() > c_longest ||
        (line.size() >= c_leastCertain && !buildIdFromHex(line).empty()))
        return false;
    switch (line.front()) {
    case ' ':
    case '\t':
        return false;
    case '/':
        return starts_with(line, "//") ? isPlainWord(line.substr(2)) : !starts_with(line, "/*");
    case '[': {
        auto const end = line.find(']');
        return line == "[" || // The program.
               (end != std::string_view::npos && isPlainWord(line.substr(1, end - 1)));
    }
    default:
        return starts_with(line, "./") || starts_with(line, "../") || isPlainWord(line) ||
               (endsLikeBinary(line) &&
                line.find_first_of("\"'`<>;|=(){}") == std::string_view::npos);
    }
}

/// The first line names a file, and most of the others do.
bool isPathList(std::string_view content) {
    std::string_view first;
    Lines(content.substr(std::min(content.find_first_not_of("\r\n"), content.size()))).next(first);
    return namesFile(first) && isListOf(content, [](std::string_view line) {
               return namesFile(line) ? LineFit::likely : LineFit::foreign;
           });
}

bool readPathLine(std::string_view line, ProfileBuilder& builder) {
    builder.module({line, classifyName(line), {}, 0});
    return true;
}

template <LineFit (*fitOf)(std::string_view)>
bool isList(std::string_view content) {
    return isListOf(content, fitOf);
}

Profile readBuildIdList(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    readLines(content, readBuildIdLine, "not a build-id and a name", builder);
    return builder.take();
}

Profile readUnstripList(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    readLines(content, readUnstripLine, "not a line of a module list", builder);
    return builder.take();
}

Profile readPathList(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    readLines(content, readPathLine, "not a path", builder);
    return builder.take();
}

} // namespace

extern FormatReader const c_unstripList{
    {"unstrip", "the list of eu-unstrip -n"}, isList<fitOfUnstripLine>, readUnstripList};
extern FormatReader const c_buildIdList{
    {"buildid-list", "the list of perf buildid-list"}, isBuildIdList, readBuildIdList};
extern FormatReader const c_pathList{{"paths", "a list of paths"}, isPathList, readPathList};

} // namespace lokata::profile
