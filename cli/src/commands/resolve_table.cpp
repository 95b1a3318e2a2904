#include "commands/resolve_table.h"

#include "console/terminal.h"
#include "search/enumerator_names.h"

#include <toolbelt2/path.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <map>
#include <numeric>
#include <ostream>
#include <string_view>
#include <vector>

namespace lokata::cli {

using namespace profile;

namespace {

using Modules = std::vector<ModuleResolution const*>;

/// In code points, which is close enough to columns for the names of files.
std::size_t lengthOf(std::string const& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

std::string padded(std::string const& text, std::size_t width) {
    std::size_t const length = lengthOf(text);
    return length < width ? text + std::string(width - length, ' ') : text;
}

/// Where the code point number `count` of the text begins.
std::size_t offsetOfColumn(std::string const& text, std::size_t count) {
    std::size_t at = 0;
    for (; count > 0 && at < text.size(); --count)
        do
            ++at;
        while (at < text.size() && (text[at] & 0xc0) == 0x80);
    return at;
}

/// Ends with what tells one path from another.
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

/// Broken at blanks; words that are too long stay whole. A width of 0 keeps one line.
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

std::string bareName(std::string const& name) {
    return displayName(toolbelt2::last_component(name));
}

std::uint64_t allSamples(ProfileResolution const& resolution) {
    return std::accumulate(
        resolution.modules.begin(), resolution.modules.end(),
        resolution.profile.unattributed_samples,
        [](std::uint64_t sum, ModuleResolution const& each) { return sum + each.module.samples; });
}

std::string percentage(std::uint64_t part, std::uint64_t whole) {
    std::array<char, 32> text{};
    double const share =
        whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
    std::snprintf(text.data(), text.size(), "%6.2f%%", share);
    return text.data();
}

bool isListed(ModuleResolution const& module) {
    return module.status != ModuleStatus::not_a_file || module.module.samples > 0;
}

bool isFound(ModuleResolution const& module) {
    return module.binary && module.binary->found();
}

Modules sortedModules(ProfileResolution const& resolution) {
    Modules modules;
    for (ModuleResolution const& module : resolution.modules)
        if (isListed(module))
            modules.push_back(&module);
    std::stable_sort(modules.begin(), modules.end(), [](auto const* left, auto const* right) {
        return left->module.samples > right->module.samples;
    });
    return modules;
}

std::string proofOf(ModuleResolution const& module) {
    return std::string(module.status == ModuleStatus::resolved
                           ? wordOf(c_identityKinds, module.binary->identity.kind)
                           : wordOf(c_moduleStatuses, ModuleStatus::unproven));
}

std::string symbolsOf(ModuleResolution const& module) {
    if (!module.symbols || !module.symbols->found())
        return "-";
    if (!symbolsReason(module).empty())
        return "partly";
    return module.symbols->path == module.binary->path ? "in file" : "found";
}

struct Row {
    std::string share;
    std::array<std::string, 5> cells; ///< Module, file, proof, symbols, origin.
    bool is_proven;
};

constexpr std::size_t c_moduleCell = 0;
constexpr std::size_t c_fileCell = 1;
constexpr std::size_t c_symbolsCell = 3;
constexpr std::size_t c_shareWidth = 9;

/// Of the longest word for a status.
constexpr std::size_t c_statusWidth = [] {
    std::size_t longest = 0;
    for (auto const& status : c_moduleStatuses)
        longest = std::max(longest, status.text.size());
    return longest;
}();

/// Of the columns; one that is left out has none.
using Widths = std::array<std::size_t, 5>;

/// Takes what is too much from the names, then leaves out the symbols. False if the lines are still
/// too long.
bool fit(Widths& widths, std::size_t shares, std::size_t width) {
    constexpr std::size_t c_leastModule = 14;
    constexpr std::size_t c_leastFile = 20;
    for (;;) {
        std::size_t others = shares + 2;
        for (std::size_t i = c_fileCell + 1; i < widths.size(); ++i)
            others += widths[i] == 0 ? 0 : widths[i] + 2;
        if (width >= others + c_leastModule + c_leastFile) {
            std::size_t const room = width - others;
            std::size_t const spare = room > widths[c_fileCell] ? room - widths[c_fileCell] : 0;
            widths[c_moduleCell] =
                std::min(widths[c_moduleCell], std::max({c_leastModule, room / 3, spare}));
            widths[c_fileCell] = std::min(widths[c_fileCell], room - widths[c_moduleCell]);
            return true;
        }
        if (widths[c_symbolsCell] == 0)
            return false;
        widths[c_symbolsCell] = 0;
    }
}

std::string tableLine(std::string const& share, std::array<std::string, 5> cells,
                      Widths const& widths, bool hasSamples) {
    cells[c_moduleCell] = cutAtEnd(cells[c_moduleCell], widths[c_moduleCell]);
    cells[c_fileCell] = cutAtFront(cells[c_fileCell], widths[c_fileCell]);
    std::string text = hasSamples ? padded(share, c_shareWidth) : "";
    for (std::size_t i = 0; i < cells.size(); ++i)
        if (widths[i] > 0)
            text += i + 1 < cells.size() ? padded(cells[i], widths[i]) + "  " : cells[i];
    return text;
}

/// For a terminal that is too narrow for columns.
std::string stackedLines(Row const& row, bool hasSamples, std::size_t width) {
    std::size_t const indent = hasSamples ? c_shareWidth : 2;
    std::size_t const room = width > indent ? width - indent : 0;
    std::string const margin(indent, ' ');
    return (hasSamples ? padded(row.share, indent) : "") + row.cells[c_moduleCell] + "\n" + margin +
           cutAtFront(row.cells[c_fileCell], room) + "\n" + margin + row.cells[2] + ", " +
           row.cells.back();
}

/// Holds no text of more than one module, as a profile may have very many.
class TableWriter {
public:
    TableWriter(std::ostream& out, ProfileResolution const& resolution, TableStyle const& style)
        : m_out(out)
        , m_style(style)
        , m_hasSamples(resolution.profile.has_samples)
        , m_samples(allSamples(resolution)) {}

    /// False if none of the modules was found.
    bool writeFound(Modules const& modules) const;
    void writeReasons(ModuleResolution const& module) const;
    void writeLearned(std::vector<PathSubstitution> const& learned) const;

private:
    static constexpr std::array<std::string_view, 5> c_titles{"MODULE", "FILE", "PROVEN BY",
                                                              "SYMBOLS", "STEP"};

    std::string shareOf(ModuleResolution const& module) const {
        return percentage(module.module.samples, m_samples);
    }
    Row rowOf(ModuleResolution const& module) const;
    Widths widthsOf(Modules const& modules) const;
    void writeReason(ModuleResolution const& module, std::string_view word, TextStyle textStyle,
                     std::string const& reason) const;

    std::ostream& m_out;
    TableStyle const& m_style;
    bool m_hasSamples;
    std::uint64_t m_samples;
};

Row TableWriter::rowOf(ModuleResolution const& module) const {
    return {shareOf(module),
            {bareName(module.module.name), displayName(module.binary->path), proofOf(module),
             symbolsOf(module), originOf(*module.binary)},
            module.status == ModuleStatus::resolved};
}

Widths TableWriter::widthsOf(Modules const& modules) const {
    Widths widths{};
    for (std::size_t i = 0; i < widths.size(); ++i)
        widths[i] = c_titles[i].size();
    for (ModuleResolution const* const module : modules) {
        if (!isFound(*module))
            continue;
        Row const row = rowOf(*module);
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], lengthOf(row.cells[i]));
    }
    return widths;
}

bool TableWriter::writeFound(Modules const& modules) const {
    if (std::none_of(modules.begin(), modules.end(),
                     [](auto const* each) { return isFound(*each); }))
        return false;
    Widths widths = widthsOf(modules);
    bool const isTable =
        m_style.width == 0 || fit(widths, m_hasSamples ? c_shareWidth : 0, m_style.width);
    if (isTable) {
        std::array<std::string, 5> titles;
        std::copy(c_titles.begin(), c_titles.end(), titles.begin());
        m_out << painted(tableLine("SAMPLES", titles, widths, m_hasSamples), TextStyle::bold,
                         m_style.colour)
              << "\n";
    }
    for (ModuleResolution const* const module : modules) {
        if (!isFound(*module))
            continue;
        Row const row = rowOf(*module);
        m_out << painted(isTable ? tableLine(row.share, row.cells, widths, m_hasSamples)
                                 : stackedLines(row, m_hasSamples, m_style.width),
                         row.is_proven ? TextStyle::green : TextStyle::yellow, m_style.colour)
              << "\n";
    }
    return true;
}

void TableWriter::writeReason(ModuleResolution const& module, std::string_view word,
                              TextStyle textStyle, std::string const& reason) const {
    m_out << (m_hasSamples ? shareOf(module) + "  " : "")
          << painted(padded(std::string(word), c_statusWidth), textStyle, m_style.colour) << "  "
          << displayName(module.module.name) << "\n"
          << wrapped(reason, (m_hasSamples ? c_shareWidth : 0) + c_statusWidth + 2, m_style.width)
          << "\n";
}

/// Why something is missing, of the symbols, the names of sources or all; nothing where nothing is.
void TableWriter::writeReasons(ModuleResolution const& module) const {
    if (std::string const reason = symbolsReason(module); !reason.empty())
        writeReason(module, "symbols", TextStyle::yellow, reason);
    if (module.sources_error)
        writeReason(module, "sources", TextStyle::yellow, displayName(*module.sources_error));
    if (!isFound(module))
        writeReason(module, wordOf(c_moduleStatuses, module.status),
                    module.status == ModuleStatus::missing ? TextStyle::red : TextStyle::yellow,
                    statusReason(module));
}

void TableWriter::writeLearned(std::vector<PathSubstitution> const& learned) const {
    for (PathSubstitution const& each : learned)
        m_out << "\nLearned: what was recorded below "
              << displayName(each.from.empty() ? "/" : each.from) << " lies below "
              << displayName(each.to.empty() ? "/" : each.to)
              << (&each == &learned.back() ? "\n" : "");
}

bool hasReasons(ModuleResolution const& module) {
    return !isFound(module) || module.sources_error || !symbolsReason(module).empty();
}

} // namespace

std::string originOf(FileResolution const& file) {
    return file.place == Place::search_step ? nameOf(file.step).substr(2)
                                            : std::string(wordOf(c_places, file.place));
}

bool writeModuleTable(std::ostream& out, ProfileResolution const& resolution,
                      TableStyle const& style) {
    Modules const modules = sortedModules(resolution);
    TableWriter const table(out, resolution, style);
    bool isAfterTable = table.writeFound(modules);
    for (ModuleResolution const* const module : modules) {
        if (isAfterTable && hasReasons(*module)) {
            out << "\n";
            isAfterTable = false;
        }
        table.writeReasons(*module);
    }
    table.writeLearned(resolution.learned);
    return !modules.empty() || !resolution.learned.empty();
}

std::string sourceTable(ProfileResolution const& resolution) {
    struct Count {
        std::size_t found = 0;
        std::size_t all = 0;
    };
    std::map<std::string, Count> directories;
    Count total;
    for (SourceResolution const& source : resolution.sources) {
        std::size_t const slash = source.name.rfind('/');
        Count& count = directories[slash == std::string::npos ? "." : source.name.substr(0, slash)];
        for (Count* const each : {&count, &total}) {
            ++each->all;
            each->found += source.file.found() ? 1 : 0;
        }
    }
    if (total.all == 0)
        return {};
    std::string text = "SOURCES FOUND  DIRECTORY\n";
    for (auto const& [directory, count] : directories)
        text += padded(std::to_string(count.found) + " of " + std::to_string(count.all), 13) +
                "  " + displayName(directory) + "\n";
    return text + padded(std::to_string(total.found) + " of " + std::to_string(total.all), 13) +
           "  in all\n";
}

std::string resolutionSummary(ProfileResolution const& resolution) {
    std::uint64_t const samples = allSamples(resolution);
    StatusTotal const noFiles = totalOf(resolution, ModuleStatus::not_a_file);
    std::string text;
    auto const add = [&](ModuleStatus status, bool always) {
        StatusTotal const total = totalOf(resolution, status);
        if (!always && total.modules == 0)
            return;
        text += (text.empty() ? "" : ", ") + std::to_string(total.modules);
        if (always)
            text += " of " + std::to_string(resolution.modules.size() - noFiles.modules);
        text += " " + std::string(wordOf(c_moduleStatuses, status));
        if (resolution.profile.has_samples) {
            std::string const share = percentage(total.samples, samples);
            text += " (" + share.substr(share.find_first_not_of(' ')) + " of samples)";
        }
    };
    add(ModuleStatus::resolved, true);
    for (ModuleStatus const status :
         {ModuleStatus::unproven, ModuleStatus::missing, ModuleStatus::unsupported})
        add(status, false);
    if (noFiles.modules > 0)
        text += "; " + std::to_string(noFiles.modules) + " without a file";
    return text + "\n";
}

} // namespace lokata::cli
