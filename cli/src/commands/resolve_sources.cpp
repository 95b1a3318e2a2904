#include "commands/resolve_sources.h"

#include "commands/resolve_explain.h"
#include "console/terminal.h"
#include "console/text_layout.h"
#include "console/texts.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <ostream>

namespace lokata::cli {

using namespace profile;

namespace {

struct SourceCount {
    std::size_t all = 0;
    std::size_t proven = 0;
    std::size_t refused = 0;
    std::size_t missing = 0;
    std::size_t warned = 0;

    void add(SourceResolution const& source) {
        SourceStatus const status = statusOf(source);
        ++all;
        proven += status == SourceStatus::proven ? 1 : 0;
        refused += status == SourceStatus::refused ? 1 : 0;
        missing += status == SourceStatus::missing ? 1 : 0;
        warned += source.file.warning ? 1 : 0;
    }
    /// Of the columns.
    std::array<std::size_t, 4> cells() const {
        return {all - refused - missing, proven, refused, missing};
    }
};

using Titles = std::array<std::string, 4>;

Titles titles() {
    return {textOf(Text::title_sources_found), textOf(Text::title_sources_proven),
            textOf(Text::title_sources_refused), textOf(Text::title_sources_missing)};
}

/// `screen` in columns, 0 for any number.
void writeLine(std::ostream& out, SourceCount const& count, Titles const& titles,
               std::string const& what, std::size_t screen) {
    constexpr std::size_t c_leastRoom = 8;
    auto const cells = count.cells();
    std::size_t used = 0;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        std::string const cell = std::to_string(cells[i]);
        std::size_t const width = lengthOf(titles.at(i));
        out << std::string(width - std::min(width, cell.size()), ' ') << cell << "  ";
        used += width + 2;
    }
    out << (screen < used + c_leastRoom ? what : cutAtFront(what, screen - used)) << "\n";
}

TextStyle styleOf(SourceStatus status) {
    switch (status) {
    case SourceStatus::proven:
        return TextStyle::green;
    case SourceStatus::unproven:
        return TextStyle::yellow;
    default:
        return TextStyle::red;
    }
}

std::string wordFor(SourceStatus status) {
    switch (status) {
    case SourceStatus::proven:
        return textOf(Text::source_proven);
    case SourceStatus::unproven:
        return textOf(Text::source_unproven);
    case SourceStatus::refused:
        return textOf(Text::source_refused);
    case SourceStatus::missing:
        return textOf(Text::source_missing);
    }
    return {};
}

std::size_t statusWidth() {
    std::size_t longest = 0;
    for (auto const& status : c_sourceStatuses)
        longest = std::max(longest, lengthOf(wordFor(status.value)));
    return longest;
}

/// Where it lies if not under its own name, what speaks against it, and which candidates do not
/// pass.
void writeSource(std::ostream& out, SourceResolution const& source, std::size_t width,
                 TableStyle const& style) {
    SourceStatus const status = statusOf(source);
    out << painted(padded(wordFor(status), width), styleOf(status), style.colour) << "  "
        << displayName(source.name) << "\n";
    auto const writeMore = [&](std::string const& text) {
        out << wrapped(text, width + 2, style.width) << "\n";
    };
    FileResolution const& file = source.file;
    if (file.found() && file.path != source.name)
        writeMore(displayName(file.path));
    if (file.warning)
        writeMore(displayName(*file.warning));
    if (status == SourceStatus::missing)
        writeMore(missingReason(file));
    for (JudgedCandidate const& rejected : file.rejected)
        writeMore(rejectionReason(rejected));
}

void writeSourcesOf(std::ostream& out, ProfileResolution const& resolution, std::size_t module,
                    TableStyle const& style) {
    std::vector<SourceResolution const*> sources;
    SourceCount count;
    for (SourceResolution const& each : resolution.sources)
        if (std::binary_search(each.modules.begin(), each.modules.end(), module)) {
            sources.push_back(&each);
            count.add(each);
        }
    ModuleResolution const& named = resolution.modules[module];
    out << painted(displayName(named.module.name), TextStyle::bold, style.colour) << "\n";
    if (named.sources_error)
        out << wrapped(displayName(*named.sources_error), 0, style.width) << "\n";
    auto const [found, proven, refused, missing] = count.cells();
    out << textOf(Text::sources_of_module,
                  {std::to_string(found), std::to_string(count.all), std::to_string(proven),
                   std::to_string(refused), std::to_string(missing)})
        << "\n";
    std::size_t const width = statusWidth();
    for (SourceResolution const* const each : sources)
        writeSource(out, *each, width, style);
}

} // namespace

bool writeSourceTable(std::ostream& out, ProfileResolution const& resolution,
                      TableStyle const& style) {
    std::map<std::string, SourceCount> directories;
    SourceCount total;
    for (SourceResolution const& source : resolution.sources) {
        std::size_t const slash = source.name.rfind('/');
        directories[slash == std::string::npos ? "." : source.name.substr(0, slash)].add(source);
        total.add(source);
    }
    if (total.all == 0)
        return false;
    Titles const columns = titles();
    for (std::string const& title : columns)
        out << title << "  ";
    out << textOf(Text::title_sources_in) << "\n";
    for (auto const& [directory, count] : directories)
        writeLine(out, count, columns, displayName(directory), style.width);
    writeLine(out, total, columns, textOf(Text::in_all), style.width);
    if (total.warned > 0)
        out << wrapped(textOf(Text::newer_sources, {std::to_string(total.warned)}), 0, style.width)
            << "\n";
    return true;
}

bool writeSourcesOf(std::ostream& out, ProfileResolution const& resolution, std::string const& text,
                    TableStyle const& style) {
    for (bool const isWhole : {true, false}) {
        bool isAny = false;
        for (std::size_t i = 0; i < resolution.modules.size(); ++i) {
            Module const& module = resolution.modules[i].module;
            if (!(isWhole ? isNamed(module, text) : isPartOf(module, text)))
                continue;
            out << (isAny ? "\n" : "");
            writeSourcesOf(out, resolution, i, style);
            isAny = true;
        }
        if (isAny)
            return true;
    }
    return false;
}

} // namespace lokata::cli
