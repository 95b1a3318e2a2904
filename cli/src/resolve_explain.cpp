#include "resolve_explain.h"

#include "enumerator_names.h"
#include "resolve_table.h"
#include "terminal.h"

#include <lokata2/utils.h>
#include <profile/names.h>
#include <profile/resolution_summary.h>

#include <map>
#include <set>

namespace lokata::cli {

using namespace profile;

namespace {

constexpr char const* c_green = "32";
constexpr char const* c_red = "31";
constexpr char const* c_faint = "2";
constexpr char const* c_bold = "1";

bool isMeant(Module const& module, std::string const& text) {
    return module.name == text || displayName(module.name) == text ||
           LK_2_13::utils::getFileNameOnly(module.name.c_str()) == text ||
           (!module.build_id.empty() && toHex(module.build_id) == text);
}

std::string identityText(Identity const& identity) {
    if (identity.kind == IdentityKind::none)
        return "nothing recorded";
    std::string text = identityKindName(identity.kind);
    if (identity.kind == IdentityKind::same_file)
        return text;
    return text + " " + displayName(identity.expected);
}

std::string refusalText(RefusedCandidate const& refused, std::string const& origin, bool colour) {
    std::string text = "  " + painted("refused", c_red, colour) + "  " + displayName(refused.path) +
                       "  [" + origin + "]\n";
    if (!refused.message.empty())
        text += "           " + displayName(refused.message) + "\n";
    return text;
}

std::string foundText(FileResolution const& file, bool colour) {
    bool const isProven = file.confidence == LK_2_13::cfValidated;
    return "  " + painted("found", c_green, colour) + "    " + displayName(file.path) + "  [" +
           originOf(file) + "]\n           " +
           (isProven ? "proven by " + identityText(file.identity) : "accepted without proof") +
           "\n";
}

/// Suggestions come first, in their order, then each step that ran with what it met. A search ends
/// with the file that it finds.
std::string candidatesText(FileResolution const& file, bool colour) {
    std::map<std::string, RefusedCandidate const*> refusals;
    for (RefusedCandidate const& refused : file.refused)
        refusals.emplace(refused.path, &refused);
    bool isFoundShown = false;
    std::set<std::string> shown;
    std::string text;
    for (Candidate const& candidate : file.suggested) {
        std::string const path = LK_2_13::utils::getCanonicalName(candidate.path.c_str(), false);
        if (!shown.insert(path).second)
            continue;
        std::string const origin = placeName(candidate.place);
        if (file.found() && path == file.path && file.step == LK_2_13::ssAskUser) {
            text += foundText(file, colour);
            isFoundShown = true;
        } else if (auto const refused = refusals.find(path); refused != refusals.end()) {
            text += refusalText(*refused->second, origin, colour);
        } else {
            text += "  " + painted(isFoundShown ? "unneeded" : "no file ", c_faint, colour) + " " +
                    displayName(path) + "  [" + origin + "]\n";
        }
    }
    for (LK_2_13::search_step_t const step : file.steps) {
        std::string const origin = nameOf(step).substr(2);
        std::string met;
        for (RefusedCandidate const& refused : file.refused)
            if (refused.step == step && shown.insert(refused.path).second)
                met += refusalText(refused, origin, colour);
        bool const isFinder = file.found() && !isFoundShown && file.step == step;
        if (met.empty() && !isFinder)
            met = "  " + painted("nothing ", c_faint, colour) + " [" + origin + "]\n";
        text += met;
    }
    for (RefusedCandidate const& refused : file.refused)
        if (shown.insert(refused.path).second)
            text += refusalText(refused, nameOf(refused.step).substr(2), colour);
    if (file.found() && !isFoundShown)
        text += foundText(file, colour);
    return text;
}

std::string fileText(char const* title, std::optional<FileResolution> const& file, bool colour) {
    if (!file)
        return std::string(title) + ": not looked for\n";
    std::string text = std::string(title) + ": " + (file->found() ? "found" : "missing") +
                       ", expected " + identityText(file->identity) + ", " +
                       std::to_string(file->elapsed_us) + " us\n" + candidatesText(*file, colour);
    if (!file->found())
        text += "  " + missingReason(*file) + "\n";
    return text;
}

std::string moduleText(ModuleResolution const& resolution, bool colour) {
    Module const& module = resolution.module;
    std::string text =
        painted(displayName(module.name), c_bold, colour) + "\n" + kindName(module.kind) + ", " +
        (module.build_id.empty() ? "no build-id" : "build-id " + toHex(module.build_id)) + ", " +
        std::to_string(module.samples) + " samples: " + moduleStatusName(resolution.status) + "\n";
    if (!resolution.binary)
        return text + statusReason(resolution) + "\n";
    text += fileText("binary", resolution.binary, colour);
    text += fileText("symbols", resolution.symbols, colour);
    if (resolution.supplementary)
        text += fileText("supplementary", resolution.supplementary, colour);
    return text;
}

} // namespace

std::string moduleExplanation(ProfileResolution const& resolution, std::string const& module,
                              bool colour) {
    std::string text;
    for (ModuleResolution const& each : resolution.modules)
        if (isMeant(each.module, module))
            text += (text.empty() ? "" : "\n") + moduleText(each, colour);
    return text;
}

} // namespace lokata::cli
