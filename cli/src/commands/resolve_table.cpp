#include "commands/resolve_table.h"

#include "commands/resolve_summary.h"
#include "console/terminal.h"
#include "console/text_layout.h"
#include "console/texts.h"

#include <toolbelt2/path.h>
#include <toolbelt2/text.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ostream>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace lokata::cli {

using namespace profile;

namespace {

using Modules = std::vector<ModuleResolution const*>;

bool hasSamples(Module const& module) {
    return module.samples > 0 || module.caller_samples > 0;
}

/// `isCounted` leaves out what has no samples.
bool isListed(ModuleResolution const& module, bool isCounted) {
    return hasSamples(module.module) || (!isCounted && module.status != ModuleStatus::not_a_file);
}

bool isFound(ModuleResolution const& module) {
    return module.binary && module.binary->found();
}

Modules sortedModules(ProfileResolution const& resolution, bool isCounted) {
    Modules modules;
    for (ModuleResolution const& module : resolution.modules)
        if (isListed(module, isCounted))
            modules.push_back(&module);
    std::stable_sort(modules.begin(), modules.end(), [&](auto const* left, auto const* right) {
        auto const keyOf = [&](Module const& module) {
            return std::pair(weightOf(module, resolution.profile, 0), module.samples);
        };
        return keyOf(left->module) > keyOf(right->module);
    });
    return modules;
}

std::string proofOf(ModuleResolution const& module) {
    return module.status == ModuleStatus::resolved
               ? std::string(wordOf(c_identityKinds, module.binary->identity.kind))
               : statusText(ModuleStatus::unproven);
}

std::string symbolsOf(ModuleResolution const& module) {
    std::string_view const level = wordOf(c_symbolLevels, module.level);
    bool const isOwn = module.level == SymbolLevel::none || isLevelProven(module) ||
                       module.status == ModuleStatus::unproven;
    return std::string(level) + (isOwn ? "" : ", " + statusText(ModuleStatus::unproven));
}

TextStyle styleOf(ModuleResolution const& module) {
    switch (module.level) {
    case SymbolLevel::lines:
        return isLevelProven(module) ? TextStyle::green : TextStyle::yellow;
    case SymbolLevel::incomplete_lines:
    case SymbolLevel::names:
        return TextStyle::yellow;
    default:
        return TextStyle::red;
    }
}

/// Tells modules apart whose names have the same last component: by as many more of the components
/// as it takes, and those of one name by the beginnings of their build-ids.
class ShortNames {
public:
    explicit ShortNames(Modules const& modules) {
        for (ModuleResolution const* const each : modules)
            if (isFound(*each))
                m_named[toolbelt2::last_component(each->module.name)].push_back(&each->module);
    }

    std::string nameOf(Module const& module) const {
        std::string_view const name = module.name;
        std::vector<Module const*> const& alike = m_named.at(toolbelt2::last_component(name));
        std::size_t start = name.size() - toolbelt2::last_component(name).size();
        while (start > 1 && isShared(alike, name, name.substr(start)))
            start = name.rfind('/', start - 2) + 1;
        bool const isRepeated = std::count_if(alike.begin(), alike.end(), [&](Module const* each) {
                                    return each->name == name;
                                }) > 1;
        constexpr std::size_t c_digits = 8;
        std::string const id = isRepeated ? buildIdDigits(module).substr(0, c_digits) : "";
        return displayName(name.substr(isRepeated && start == 1 ? 0 : start)) +
               (id.empty() ? "" : " (" + id + ")");
    }

private:
    static bool isShared(std::vector<Module const*> const& alike, std::string_view name,
                         std::string_view end) {
        return std::any_of(
            alike.begin(), alike.end(),
            [&](Module const* each) {
                return each->name != name && toolbelt2::ends_with(each->name, end);
            });
    }

    std::unordered_map<std::string_view, std::vector<Module const*>> m_named;
};

struct Row {
    std::string shares; ///< In columns, with blanks behind them; empty without samples.
    std::array<std::string, 5> cells; ///< Module, file, proof, symbols, origin.
    TextStyle style;
};

constexpr std::size_t c_moduleCell = 0;
constexpr std::size_t c_fileCell = 1;
constexpr std::size_t c_proofCell = 2;
constexpr std::size_t c_symbolsCell = 3;
constexpr std::size_t c_originCell = 4;
/// In columns; what is narrower holds no table.
constexpr std::size_t c_leastTable = 60;

/// Of the columns; one that is left out has none.
using Widths = std::array<std::size_t, 5>;

/// Leaves out columns until the names have room to be told apart, then cuts them. False if not even
/// the names and the symbols have room.
bool fit(Widths& widths, std::size_t shares, std::size_t width) {
    constexpr std::size_t c_module = 20;
    constexpr std::size_t c_file = 36;
    constexpr std::size_t c_leastNames = 30; ///< Shares of many events can leave less.
    auto const roomForNames = [&] {
        std::size_t others = shares + 2;
        for (std::size_t i = c_fileCell + 1; i < widths.size(); ++i)
            others += widths[i] == 0 ? 0 : widths[i] + 2;
        return width - std::min(width, others);
    };
    std::size_t const wanted =
        std::min(widths[c_moduleCell], c_module) + std::min(widths[c_fileCell], c_file);
    for (std::size_t const dispensable : {c_originCell, c_proofCell})
        if (roomForNames() < wanted)
            widths[dispensable] = 0;
    std::size_t const room = roomForNames();
    if (width < c_leastTable || room < std::min(wanted, c_leastNames))
        return false;
    std::size_t const spare = room - std::min(room, widths[c_fileCell]);
    widths[c_moduleCell] = std::min(widths[c_moduleCell], std::max(room / 3, spare));
    widths[c_fileCell] = std::min(widths[c_fileCell], room - widths[c_moduleCell]);
    return true;
}

std::string tableLine(std::string const& shares, std::array<std::string, 5> cells,
                      Widths const& widths) {
    cells[c_moduleCell] = cutAtFront(cells[c_moduleCell], widths[c_moduleCell]);
    cells[c_fileCell] = cutAtFront(cells[c_fileCell], widths[c_fileCell]);
    std::string text = shares;
    std::size_t last = cells.size() - 1;
    while (widths[last] == 0)
        --last;
    for (std::size_t i = 0; i < last; ++i)
        if (widths[i] > 0)
            text += padded(cells[i], widths[i]) + "  ";
    return text + cells[last];
}

/// For a terminal that is too narrow for columns.
std::string stackedLines(Row const& row, std::size_t width) {
    constexpr std::size_t c_margin = 2;
    std::size_t const taken = lengthOf(row.shares);
    std::size_t const indent = std::max(taken, c_margin);
    std::size_t const room = width > indent ? width - indent : 0;
    std::string const symbols = row.cells[c_symbolsCell] + ", " + row.cells[c_proofCell];
    std::size_t const rest = width - std::min(width, taken + lengthOf(symbols) + 2);
    return row.shares + cutAtFront(row.cells[c_moduleCell], std::max<std::size_t>(rest, 8)) + "  " +
           symbols + "\n" + std::string(indent, ' ') + cutAtFront(row.cells[c_fileCell], room);
}

/// The first columns: what share of each event the modules have. None where no samples were taken.
class Shares {
public:
    explicit Shares(ProfileResolution const& resolution) : m_profile(resolution.profile) {
        for (std::size_t i = 0; m_profile.has_samples && i < countShares(m_profile); ++i) {
            constexpr std::size_t c_least = 7;
            constexpr std::size_t c_most = 16;
            std::string title = cutAtEnd(shareTitle(m_profile, i), c_most);
            std::size_t const width = std::max(c_least, lengthOf(title));
            m_titles += padded(title, width + c_gap);
            m_columns.push_back({wholeWeight(resolution, i), width});
        }
    }

    std::string const& titles() const { return m_titles; }
    std::size_t width() const { return lengthOf(m_titles); }
    std::string of(Module const& module) const {
        std::string text;
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            std::string const cell = share(weightOf(module, m_profile, i), m_columns[i].whole);
            text += std::string(m_columns[i].width - std::min(m_columns[i].width, lengthOf(cell)),
                                ' ') +
                    cell + std::string(c_gap, ' ');
        }
        return text;
    }

private:
    static constexpr std::size_t c_gap = 2;

    struct Column {
        std::uint64_t whole;
        std::size_t width;
    };

    Profile const& m_profile;
    std::string m_titles;
    std::vector<Column> m_columns;
};

/// Holds no text of more than one module, as a profile may have very many.
class TableWriter {
public:
    TableWriter(std::ostream& out, ProfileResolution const& resolution, Modules const& modules,
                TableStyle const& style)
        : m_out(out), m_style(style), m_shares(resolution), m_names(modules) {
        for (auto const& each : c_moduleStatuses)
            m_statusWidth = std::max(m_statusWidth, lengthOf(statusText(each.value)));
    }

    /// False if none of the modules was found.
    bool writeFound(Modules const& modules) const;
    void writeReasons(ModuleResolution const& module) const;
    void writeLearned(std::vector<PathSubstitution> const& learned) const;

private:
    Row rowOf(ModuleResolution const& module) const;
    Widths widthsOf(Modules const& modules) const;
    void writeReason(ModuleResolution const& module, std::string const& word, TextStyle textStyle,
                     std::string const& reason) const;

    std::ostream& m_out;
    TableStyle const& m_style;
    Shares m_shares;
    ShortNames m_names;
    std::array<std::string, 5> const m_titles{
        textOf(Text::title_module), textOf(Text::title_file), textOf(Text::title_proof),
        textOf(Text::title_symbols), textOf(Text::title_step)};
    std::size_t m_statusWidth = 0; ///< Of the longest word for a status.
};

Row TableWriter::rowOf(ModuleResolution const& module) const {
    return {m_shares.of(module.module),
            {m_names.nameOf(module.module), displayName(module.binary->path), proofOf(module),
             symbolsOf(module), originOf(*module.binary)},
            styleOf(module)};
}

Widths TableWriter::widthsOf(Modules const& modules) const {
    Widths widths{};
    for (std::size_t i = 0; i < widths.size(); ++i)
        widths[i] = lengthOf(m_titles[i]);
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
    bool const isTable = m_style.width == 0 || fit(widths, m_shares.width(), m_style.width);
    if (isTable) {
        m_out << painted(tableLine(m_shares.titles(), m_titles, widths), TextStyle::bold,
                         m_style.colour)
              << "\n";
    }
    for (ModuleResolution const* const module : modules) {
        if (!isFound(*module))
            continue;
        Row const row = rowOf(*module);
        m_out << painted(isTable ? tableLine(row.shares, row.cells, widths)
                                 : stackedLines(row, m_style.width),
                         row.style, m_style.colour)
              << "\n";
    }
    return true;
}

void TableWriter::writeReason(ModuleResolution const& module, std::string const& word,
                              TextStyle textStyle, std::string const& reason) const {
    // Below the name, unless this leaves no room to read.
    constexpr std::size_t c_leastRoom = 40;
    constexpr std::size_t c_margin = 2;
    std::size_t const nameAt = m_shares.width() + m_statusWidth + 2;
    bool const isNarrow = m_style.width > 0 && m_style.width < nameAt + c_leastRoom;
    m_out << m_shares.of(module.module)
          << painted(padded(word, m_statusWidth), textStyle, m_style.colour) << "  "
          << (m_style.width > nameAt + c_margin
                  ? cutAtFront(displayName(module.module.name), m_style.width - nameAt)
                  : displayName(module.module.name))
          << "\n"
          << wrapped(reason, isNarrow ? c_margin : nameAt, m_style.width) << "\n";
}

std::string sentences(std::string const& first, std::string const& second) {
    return first + (first.empty() || second.empty() ? "" : " ") + second;
}

/// Why something is missing, of the symbols, the names of sources or all; nothing where nothing is.
void TableWriter::writeReasons(ModuleResolution const& module) const {
    std::string const help = symbolsHelp(module);
    std::string const symbols = sentences(symbolsReason(module), isFound(module) ? help : "");
    if (!symbols.empty())
        writeReason(module, textOf(Text::row_symbols), TextStyle::yellow, symbols);
    if (module.sources_error)
        writeReason(module, textOf(Text::row_sources), TextStyle::yellow,
                    displayName(*module.sources_error));
    if (!isFound(module))
        writeReason(
            module, statusText(module.status),
            module.status == ModuleStatus::missing ? TextStyle::red : TextStyle::yellow,
            sentences(statusReason(module), help) +
                (module.level == SymbolLevel::none
                     ? ""
                     : " (" + symbolsOf(module) + ": " + displayName(module.symbols->path) + ")"));
}

void TableWriter::writeLearned(std::vector<PathSubstitution> const& learned) const {
    for (PathSubstitution const& each : learned)
        m_out << textOf(Text::learned, {displayName(each.from.empty() ? "/" : each.from),
                                        displayName(each.to.empty() ? "/" : each.to)})
              << "\n";
}

template <class Visit>
void forEachFile(ModuleResolution const& module, Visit const& visit) {
    for (auto const* const file : {&module.binary, &module.symbols, &module.supplementary})
        if (*file)
            visit(**file);
    if (!module.split_dwarf)
        return;
    visit(module.split_dwarf->package);
    for (SplitFile const& each : module.split_dwarf->files)
        visit(each.file);
}

/// The renamed prefixes that led to a file.
std::vector<PathSubstitution> usedPrefixes(ProfileResolution const& resolution) {
    std::vector<bool> isUsed(resolution.learned.size());
    auto const visit = [&](FileResolution const& file) {
        for (std::size_t i = 0; file.place == Place::learned_path && i < isUsed.size(); ++i)
            if (PathSubstitution{resolution.learned[i].to, ""}.apply(file.path))
                isUsed[i] = true;
    };
    for (ModuleResolution const& module : resolution.modules)
        forEachFile(module, visit);
    for (SourceResolution const& source : resolution.sources)
        visit(source.file);
    std::vector<PathSubstitution> result;
    for (std::size_t i = 0; i < isUsed.size(); ++i)
        if (isUsed[i])
            result.push_back(resolution.learned[i]);
    return result;
}

std::size_t unlistedModules(ProfileResolution const& resolution) {
    return static_cast<std::size_t>(std::count_if(
        resolution.modules.begin(), resolution.modules.end(),
        [](ModuleResolution const& each) {
            return isListed(each, false) && !isListed(each, true);
        }));
}

bool hasReasons(ModuleResolution const& module) {
    return !isFound(module) || module.sources_error || !symbolsReason(module).empty();
}

} // namespace

std::string originOf(FileResolution const& file) {
    return std::string(file.place == Place::search_step ? stepName(file.step)
                                                        : wordOf(c_places, file.place));
}

bool writeModuleTable(std::ostream& out, ProfileResolution const& resolution,
                      TableStyle const& style) {
    bool const isCounted = resolution.profile.has_samples && !style.all_modules;
    Modules const modules = sortedModules(resolution, isCounted);
    TableWriter const table(out, resolution, modules, style);
    bool isAfterTable = table.writeFound(modules);
    for (ModuleResolution const* const module : modules) {
        if (isAfterTable && hasReasons(*module)) {
            out << "\n";
            isAfterTable = false;
        }
        table.writeReasons(*module);
    }
    std::size_t const unlisted = isCounted ? unlistedModules(resolution) : 0;
    if (unlisted > 0)
        out << textOf(unlisted == 1 ? Text::unlisted_module : Text::unlisted_modules,
                      {std::to_string(unlisted)})
            << "\n";
    std::vector<PathSubstitution> const learned = usedPrefixes(resolution);
    table.writeLearned(learned);
    return !modules.empty() || unlisted > 0 || !learned.empty();
}

} // namespace lokata::cli
