#include "commands/find_output.h"

#include "commands/candidate_label.h"
#include "console/output.h"
#include "search/enumerator_names.h"

#include <nlohmann/json.hpp>

namespace lokata::cli {

using namespace LK_2_13;

std::string foundPaths(SearchRecord const& record) {
    std::string text;
    for (FoundFile const& file : record.found)
        text += profile::displayName(file.path) + "\n";
    return text;
}

std::string explanation(SearchRecord const& record, bool colour) {
    std::string text;
    for (FoundFile const& file : record.found)
        text += candidateLabel(Text::found, TextStyle::green, colour) + printable(file.path) +
                "  [" + std::string(profile::stepName(file.step)) + ", " +
                textOf(file.confidence == cfValidated ? Text::proven : Text::unproven) + "]\n";
    for (profile::JudgedCandidate const& file : record.rejected) {
        TextStyle const style = file.severity == svError ? TextStyle::red : TextStyle::yellow;
        text += candidateLabel(Text::rejected, style, colour) + printable(file.path) + "  [" +
                std::string(profile::stepName(file.step)) + "]  " + printable(file.message) + "\n";
    }
    if (text.empty())
        text =
            "no file named \"" + printable(record.name) + "\" was found where the search looked\n";
    return text;
}

std::string jsonLine(SearchRecord const& record) {
    using nlohmann::ordered_json;
    auto found = ordered_json::array();
    for (FoundFile const& file : record.found)
        found.push_back({{"path", file.path},
                         {"confidence", nameOf(file.confidence)},
                         {"step", nameOf(file.step)}});
    auto rejected = ordered_json::array();
    for (profile::JudgedCandidate const& file : record.rejected)
        rejected.push_back({{"path", file.path},
                            {"severity", nameOf(file.severity)},
                            {"message", file.message},
                            {"step", nameOf(file.step)}});
    ordered_json const object{{"category", nameOf(record.category)},
                              {"name", record.name},
                              {"found", std::move(found)},
                              {"rejected", std::move(rejected)}};
    // In ASCII, so that no character of a name directs a terminal.
    return object.dump(-1, ' ', true, ordered_json::error_handler_t::replace) + "\n";
}

} // namespace lokata::cli
