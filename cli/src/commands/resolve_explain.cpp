#include "commands/resolve_explain.h"

#include "commands/resolve_summary.h"
#include "commands/resolve_table.h"
#include "console/candidate_label.h"
#include "search/searched_places.h"

#include <lokata2/utils.h>
#include <toolbelt2/path.h>
#include <toolbelt2/text.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace lokata::cli {

using namespace profile;

namespace {

bool isNamed(std::string const& name, std::string const& text) {
    return name == text || displayName(name) == text ||
           LK_2_13::utils::getFileNameOnly(name.c_str()) == text;
}

bool isPartOf(std::string const& name, std::string const& text) {
    return name.find(text) != std::string::npos ||
           displayName(name).find(text) != std::string::npos;
}

} // namespace

bool isNamed(Module const& module, std::string const& text) {
    return isNamed(module.name, text) || (!text.empty() && buildIdDigits(module) == text);
}

bool isPartOf(Module const& module, std::string const& text) {
    constexpr std::size_t c_leastDigits = 4;
    return isPartOf(module.name, text) ||
           (text.size() >= c_leastDigits && toolbelt2::starts_with(buildIdDigits(module), text));
}

namespace {

/// What was compared, or is to be.
std::string markText(Identity const& identity) {
    std::string text(wordOf(c_identityKinds, identity.kind));
    if (identity.kind != IdentityKind::same_file)
        text += " " + displayName(identity.expected);
    return text;
}

std::string identityText(Identity const& identity) {
    return identity.kind == IdentityKind::none
               ? textOf(Text::nothing_recorded)
               : textOf(Text::identity_expected, {markText(identity)});
}

/// Of what stands below a candidate.
std::string margin() {
    return std::string(candidateLabelWidth() + 2, ' ');
}

std::string rejectionText(JudgedCandidate const& rejected, std::string const& origin, bool colour) {
    return "  " + candidateLabel(Text::rejected, TextStyle::red, colour) +
           displayName(rejected.path) + "  [" + origin + "]\n" + margin() +
           displayName(rejected.message) + "\n";
}

std::string foundText(FileResolution const& file, bool colour) {
    bool const isProven = file.confidence == LK_2_13::cfValidated;
    return "  " + candidateLabel(Text::found, TextStyle::green, colour) + displayName(file.path) +
           "  [" + originOf(file) + "]\n" + margin() +
           (isProven ? textOf(Text::proven_by, {markText(file.identity)})
                     : textOf(Text::unproven)) +
           (file.unpacked_from
                ? ", " + textOf(Text::unpacked_from, {displayName(*file.unpacked_from)})
                : "") +
           "\n" + (file.warning ? margin() + displayName(*file.warning) + "\n" : "");
}

/// Where the search met the file that was found.
std::string const& metAt(FileResolution const& file) {
    return file.unpacked_from ? *file.unpacked_from : file.path;
}

/// What came of one search, in the order in which it tried things.
class SearchText {
public:
    /// `places` are those of the steps. `endsAtFound` is false for a search that went on behind the
    /// file and came back to it.
    SearchText(FileResolution const& file, std::vector<SearchedPlace> places, bool endsAtFound,
               bool colour)
        : m_file(file), m_places(std::move(places)), m_endsAtFound(endsAtFound), m_colour(colour) {
        for (JudgedCandidate const& rejected : file.rejected)
            m_rejections.emplace(rejected.path, &rejected);
    }

    std::string candidates();

private:
    std::string suggestions(std::size_t begin, std::size_t end);
    std::string suggestion(std::string const& path, std::string const& origin);
    std::string step(LK_2_13::search_step_t step);
    std::string unread(std::string const& path, std::string const& origin,
                       std::error_code const& error) const;
    std::string found();

    FileResolution const& m_file;
    std::vector<SearchedPlace> m_places;
    bool m_endsAtFound;
    bool m_colour;
    std::map<std::string, JudgedCandidate const*> m_rejections;
    std::set<std::string> m_shown;
    bool m_isFoundShown = false;
};

std::string SearchText::found() {
    m_isFoundShown = true;
    return foundText(m_file, m_colour);
}

std::string SearchText::unread(std::string const& path, std::string const& origin,
                               std::error_code const& error) const {
    return "  " + candidateLabel(Text::unread, TextStyle::yellow, m_colour) + displayName(path) +
           "  [" + origin + "]\n" + margin() + error.message() + "\n";
}

std::string SearchText::suggestion(std::string const& path, std::string const& origin) {
    if (m_file.found() && path == metAt(m_file) && m_file.step == LK_2_13::ssAskUser)
        return found();
    if (auto const rejected = m_rejections.find(path); rejected != m_rejections.end())
        return rejectionText(*rejected->second, origin, m_colour);
    Text const fate = m_isFoundShown && m_endsAtFound ? Text::unneeded : Text::no_file;
    return "  " + candidateLabel(fate, TextStyle::faint, m_colour) + displayName(path) + "  [" +
           origin + "]\n";
}

std::string SearchText::suggestions(std::size_t begin, std::size_t end) {
    std::string text;
    for (std::size_t i = begin; i < end; ++i) {
        Candidate const& candidate = (*m_file.suggested)[i];
        std::string const path = LK_2_13::utils::getCanonicalName(candidate.path.c_str(), false);
        if (m_shown.insert(path).second)
            text += suggestion(path, std::string(wordOf(c_places, candidate.place)));
    }
    return text;
}

std::string SearchText::step(LK_2_13::search_step_t step) {
    std::string const origin(stepName(step));
    std::string met;
    for (JudgedCandidate const& rejected : m_file.rejected)
        if (rejected.step == step && m_shown.insert(rejected.path).second)
            met += rejectionText(rejected, origin, m_colour);
    std::vector<SearchedPlace> places;
    std::copy_if(m_places.begin(), m_places.end(), std::back_inserter(places),
                 [step](SearchedPlace const& place) { return place.step == step; });
    for (UnreadPlace const& place : unreadPlaces(places))
        met += unread(place.path, origin, place.error);
    if (m_file.found() && !m_isFoundShown && m_file.step == step)
        return met + found();
    return met.empty() && !places.empty()
               ? "  " + candidateLabel(Text::nothing, TextStyle::faint, m_colour) + "[" + origin +
                     "]\n"
               : met;
}

std::string SearchText::candidates() {
    std::size_t const count = m_file.suggested ? m_file.suggested->size() : 0;
    std::size_t const first = std::min<std::size_t>(m_file.suggested_before_steps, count);
    std::string text = suggestions(0, first);
    for (LK_2_13::search_step_t const each : m_file.steps.list())
        text += step(each);
    text += suggestions(first, count);
    for (JudgedCandidate const& rejected : m_file.rejected)
        if (m_shown.insert(rejected.path).second)
            text += rejectionText(rejected, std::string(stepName(rejected.step)), m_colour);
    return text + (m_file.found() && !m_isFoundShown ? found() : "");
}

/// Writes modules and sources of one resolution.
class Explainer {
public:
    Explainer(LK_2_13::ISearchEnv& environment, bool colour)
        : m_environment(environment), m_colour(colour) {}

    std::string moduleText(ModuleResolution const& resolution) const;
    std::string sourceText(SourceResolution const& source) const;

private:
    /// What a search was asked.
    struct Question {
        LK_2_13::search_category_t category;
        std::string name;
        std::string binary{};
        bool ends_at_found = true;
    };

    std::string fileText(Text title, FileResolution const& file, Question const& question) const {
        return fileText(textOf(title), file, question);
    }
    std::string fileText(std::string const& title, FileResolution const& file,
                         Question const& question) const;
    std::string symbolsText(ModuleResolution const& resolution) const;
    std::string splitText(ModuleResolution const& resolution) const;

    LK_2_13::ISearchEnv& m_environment;
    bool m_colour;
};

std::string Explainer::fileText(std::string const& title, FileResolution const& file,
                                Question const& question) const {
    auto places = searchedPlaces(m_environment, question.category, question.name, question.binary);
    SearchText search(file, std::move(places), question.ends_at_found, m_colour);
    return textOf(file.found() ? Text::file_found : Text::file_missing,
                  {title, identityText(file.identity), std::to_string(file.elapsed_us)}) +
           "\n" + search.candidates() + (file.found() ? "" : "  " + missingReason(file) + "\n");
}

/// Where none with debug information was found, the search has come to its end.
std::string Explainer::symbolsText(ModuleResolution const& resolution) const {
    if (!resolution.symbols)
        return textOf(Text::not_looked_for, {textOf(Text::symbols)}) + "\n";
    bool const isDebugInfo =
        resolution.level == SymbolLevel::lines || resolution.level == SymbolLevel::incomplete_lines;
    return fileText(Text::symbols, *resolution.symbols,
                    {LK_2_13::scSymbolFiles, resolution.module.name,
                     resolution.binary ? resolution.binary->path : "", isDebugInfo});
}

std::string Explainer::splitText(ModuleResolution const& resolution) const {
    SplitResolution const& split = *resolution.split_dwarf;
    std::string const& symbols = resolution.symbols->path;
    std::string text = textOf(Text::split_units,
                              {std::to_string(split.found_units), std::to_string(split.units)}) +
                       "\n" +
                       fileText(Text::package, split.package,
                                {LK_2_13::scSymbolFiles, resolution.module.name, symbols});
    for (SplitFile const& each : split.files)
        text += fileText(displayName(each.name), each.file,
                         {LK_2_13::scSymbolFiles, toolbelt2::join_path("/", each.name), symbols});
    return text;
}

std::string buildIdText(Module const& module) {
    std::string const digits = buildIdDigits(module);
    if (digits.empty())
        return textOf(Text::no_build_id);
    return textOf(module.debug_id ? Text::debug_id : Text::build_id, {digits});
}

std::string Explainer::moduleText(ModuleResolution const& resolution) const {
    Module const& module = resolution.module;
    std::string text =
        painted(displayName(module.name), TextStyle::bold, m_colour) + "\n" +
        textOf(Text::module_facts, {wordOf(c_moduleKinds, module.kind), buildIdText(module),
                                    std::to_string(module.samples), statusText(resolution.status),
                                    wordOf(c_symbolLevels, resolution.level)}) +
        "\n";
    if (!resolution.binary)
        return text + statusReason(resolution) + "\n" +
               (resolution.symbols ? symbolsText(resolution) : "");
    text += fileText(Text::binary, *resolution.binary, {LK_2_13::scBinaryFiles, module.name});
    text += symbolsText(resolution);
    if (resolution.supplementary)
        text += fileText(Text::supplementary, *resolution.supplementary,
                         {LK_2_13::scSymbolFiles, "", resolution.symbols->path});
    if (resolution.split_dwarf)
        text += splitText(resolution);
    for (std::string const& sentence : {symbolsReason(resolution), symbolsHelp(resolution)})
        if (!sentence.empty())
            text += sentence + "\n";
    if (resolution.sources_error)
        text += displayName(*resolution.sources_error) + "\n";
    return text;
}

std::string Explainer::sourceText(SourceResolution const& source) const {
    return painted(displayName(source.name), TextStyle::bold, m_colour) + "\n" +
           textOf(Text::source_of, {displayName(source.module)}) + "\n" +
           fileText(Text::file, source.file, {LK_2_13::scSourceFiles, source.name});
}

} // namespace

std::string explanation(ProfileResolution const& resolution, std::string const& text,
                        LK_2_13::ISearchEnv& environment, bool colour) {
    Explainer const explainer(environment, colour);
    for (bool const isWhole : {true, false}) {
        std::string result;
        auto const add = [&](std::string const& part) {
            result += (result.empty() ? "" : "\n") + part;
        };
        for (ModuleResolution const& each : resolution.modules)
            if (isWhole ? isNamed(each.module, text) : isPartOf(each.module, text))
                add(explainer.moduleText(each));
        for (SourceResolution const& each : resolution.sources)
            if (isWhole ? isNamed(each.name, text) : isPartOf(each.name, text))
                add(explainer.sourceText(each));
        if (!result.empty())
            return result;
    }
    return {};
}

} // namespace lokata::cli
