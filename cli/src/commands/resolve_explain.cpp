#include "commands/resolve_explain.h"

#include "commands/candidate_label.h"
#include "commands/resolve_summary.h"
#include "commands/resolve_table.h"

#include <lokata2/utils.h>
#include <toolbelt2/text.h>

#include <map>
#include <set>

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
    return isNamed(module.name, text) ||
           (!module.build_id.empty() && toHex(module.build_id) == text);
}

bool isPartOf(Module const& module, std::string const& text) {
    constexpr std::size_t c_leastDigits = 4;
    return isPartOf(module.name, text) ||
           (text.size() >= c_leastDigits && toolbelt2::starts_with(toHex(module.build_id), text));
}

namespace {

std::string identityText(Identity const& identity) {
    if (identity.kind == IdentityKind::none)
        return textOf(Text::nothing_recorded);
    std::string text(wordOf(c_identityKinds, identity.kind));
    if (identity.kind == IdentityKind::same_file)
        return text;
    return text + " " + displayName(identity.expected);
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
           (isProven ? textOf(Text::proven_by, {identityText(file.identity)})
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

/// Suggestions come first, in their order, then each step that ran with what it met. A search ends
/// with the file that it finds.
std::string candidatesText(FileResolution const& file, bool colour) {
    std::vector<Candidate> const noCandidates;
    std::map<std::string, JudgedCandidate const*> rejections;
    for (JudgedCandidate const& rejected : file.rejected)
        rejections.emplace(rejected.path, &rejected);
    bool isFoundShown = false;
    std::set<std::string> shown;
    std::string text;
    for (Candidate const& candidate : file.suggested ? *file.suggested : noCandidates) {
        std::string const path = LK_2_13::utils::getCanonicalName(candidate.path.c_str(), false);
        if (!shown.insert(path).second)
            continue;
        std::string const origin(wordOf(c_places, candidate.place));
        if (file.found() && path == metAt(file) && file.step == LK_2_13::ssAskUser) {
            text += foundText(file, colour);
            isFoundShown = true;
        } else if (auto const rejected = rejections.find(path); rejected != rejections.end()) {
            text += rejectionText(*rejected->second, origin, colour);
        } else {
            text += "  " +
                    candidateLabel(isFoundShown ? Text::unneeded : Text::no_file, TextStyle::faint,
                                   colour) +
                    displayName(path) + "  [" + origin + "]\n";
        }
    }
    for (LK_2_13::search_step_t const step : file.steps.list()) {
        std::string const origin(stepName(step));
        std::string met;
        for (JudgedCandidate const& rejected : file.rejected)
            if (rejected.step == step && shown.insert(rejected.path).second)
                met += rejectionText(rejected, origin, colour);
        bool const isFinder = file.found() && !isFoundShown && file.step == step;
        if (met.empty() && !isFinder)
            met = "  " + candidateLabel(Text::nothing, TextStyle::faint, colour) + "[" + origin +
                  "]\n";
        text += met;
    }
    for (JudgedCandidate const& rejected : file.rejected)
        if (shown.insert(rejected.path).second)
            text += rejectionText(rejected, std::string(stepName(rejected.step)), colour);
    if (file.found() && !isFoundShown)
        text += foundText(file, colour);
    return text;
}

std::string fileText(std::string const& title, FileResolution const& file, bool colour) {
    std::string text =
        textOf(file.found() ? Text::file_found : Text::file_missing,
               {title, identityText(file.identity), std::to_string(file.elapsed_us)}) +
        "\n" + candidatesText(file, colour);
    if (!file.found())
        text += "  " + missingReason(file) + "\n";
    return text;
}

std::string fileText(std::string const& title, Boxed<FileResolution> const& file, bool colour) {
    return file ? fileText(title, *file, colour) : textOf(Text::not_looked_for, {title}) + "\n";
}

std::string splitText(SplitResolution const& split, bool colour) {
    std::string text = textOf(Text::split_units,
                              {std::to_string(split.found_units), std::to_string(split.units)}) +
                       "\n" + fileText(textOf(Text::package), split.package, colour);
    for (SplitFile const& each : split.files)
        text += fileText(displayName(each.name), each.file, colour);
    return text;
}

std::string moduleText(ModuleResolution const& resolution, bool colour) {
    Module const& module = resolution.module;
    std::string text =
        painted(displayName(module.name), TextStyle::bold, colour) + "\n" +
        textOf(Text::module_facts,
               {wordOf(c_moduleKinds, module.kind),
                module.build_id.empty() ? textOf(Text::no_build_id)
                                        : textOf(Text::build_id, {toHex(module.build_id)}),
                std::to_string(module.samples), statusText(resolution.status),
                wordOf(c_symbolLevels, resolution.level)}) +
        "\n";
    if (!resolution.binary)
        return text + statusReason(resolution) + "\n" +
               (resolution.symbols ? fileText(textOf(Text::symbols), resolution.symbols, colour)
                                   : "");
    text += fileText(textOf(Text::binary), resolution.binary, colour);
    text += fileText(textOf(Text::symbols), resolution.symbols, colour);
    if (resolution.supplementary)
        text += fileText(textOf(Text::supplementary), resolution.supplementary, colour);
    if (resolution.split_dwarf)
        text += splitText(*resolution.split_dwarf, colour);
    if (std::string const reason = symbolsReason(resolution); !reason.empty())
        text += reason + "\n";
    if (resolution.sources_error)
        text += displayName(*resolution.sources_error) + "\n";
    return text;
}

std::string sourceText(SourceResolution const& source, bool colour) {
    return painted(displayName(source.name), TextStyle::bold, colour) + "\n" +
           textOf(Text::source_of, {displayName(source.module)}) + "\n" +
           fileText(textOf(Text::file), source.file, colour);
}

} // namespace

std::string explanation(ProfileResolution const& resolution, std::string const& text, bool colour) {
    for (bool const isWhole : {true, false}) {
        std::string result;
        auto const add = [&](std::string const& part) {
            result += (result.empty() ? "" : "\n") + part;
        };
        for (ModuleResolution const& each : resolution.modules)
            if (isWhole ? isNamed(each.module, text) : isPartOf(each.module, text))
                add(moduleText(each, colour));
        for (SourceResolution const& each : resolution.sources)
            if (isWhole ? isNamed(each.name, text) : isPartOf(each.name, text))
                add(sourceText(each, colour));
        if (!result.empty())
            return result;
    }
    return {};
}

} // namespace lokata::cli
