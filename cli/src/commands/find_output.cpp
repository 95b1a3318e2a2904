#include "commands/find_output.h"

#include "console/candidate_label.h"
#include "console/output.h"
#include "search/enumerator_names.h"

#include <nlohmann/json.hpp>
#include <toolbelt2/text.h>

#include <algorithm>

namespace lokata::cli {

using namespace LK_2_13;

std::string foundPaths(SearchRecord const& record) {
    std::string text;
    for (FoundFile const& file : record.found)
        text += profile::displayName(file.path) + "\n";
    return text;
}

namespace {

std::string inBrackets(search_step_t step) {
    return "[" + std::string(profile::stepName(step)) + "]";
}

bool metSomething(SearchRecord const& record, SearchedPlace const& place) {
    return std::any_of(
        record.rejected.begin(), record.rejected.end(),
        [&](auto const& each) {
            return each.step == place.step && toolbelt2::starts_with(each.path, place.path);
        });
}

std::string nothingIn(SearchRecord const& record, std::vector<SearchedPlace> const& places,
                      bool colour) {
    std::string text;
    std::vector<UnreadPlace> const unread = unreadPlaces(places);
    auto const isUnread = [&](SearchedPlace const& place) {
        return std::any_of(unread.begin(), unread.end(),
                           [&](UnreadPlace const& each) { return each.path == place.path; });
    };
    for (SearchedPlace const& place : places)
        if (!metSomething(record, place) && !isUnread(place))
            text +=
                candidateLabel(place.step == ssAbsoluteNameLookup ? Text::no_file : Text::nothing,
                               TextStyle::faint, colour) +
                printable(place.path) + (place.path.empty() ? "" : "  ") + inBrackets(place.step) +
                "\n";
    for (UnreadPlace const& place : unread)
        text += candidateLabel(Text::unread, TextStyle::yellow, colour) + printable(place.path) +
                "  " + inBrackets(place.step) + "  " + place.error.message() + "\n";
    return text;
}

} // namespace

std::string whereItLooked(SearchRecord const& record, std::vector<SearchedPlace> const& places) {
    std::string steps;
    for (std::size_t i = 0; i < places.size(); ++i) {
        bool const isNewStep = i == 0 || places[i].step != places[i - 1].step;
        bool const isLast = i + 1 == places.size() || places[i + 1].step != places[i].step;
        if (isNewStep)
            steps.append(steps.empty() ? "" : ", ").append(profile::stepName(places[i].step));
        if (!places[i].path.empty())
            steps += (isNewStep ? " (" : ", ") + places[i].path + (isLast ? ")" : "");
    }
    std::string text =
        steps.empty() ? textOf(Text::nowhere_searched, {record.name})
                      : textOf(record.rejected.empty() ? Text::none_found_in : Text::none_passed_in,
                               {record.name, steps, std::to_string(record.rejected.size())});
    std::string unread;
    for (UnreadPlace const& place : unreadPlaces(places))
        unread += (unread.empty() ? "" : ", ") + place.path + " (" + place.error.message() + ")";
    return unread.empty() ? text : text + "; " + textOf(Text::unread_places, {unread});
}

std::string explanation(SearchRecord const& record, std::vector<SearchedPlace> const& places,
                        bool colour) {
    std::string text;
    for (FoundFile const& file : record.found)
        text += candidateLabel(Text::found, TextStyle::green, colour) + printable(file.path) +
                "  [" + std::string(profile::stepName(file.step)) + ", " +
                textOf(file.confidence == cfValidated ? Text::proven : Text::unproven) + "]\n";
    for (profile::JudgedCandidate const& file : record.rejected) {
        TextStyle const style = file.severity == svError ? TextStyle::red : TextStyle::yellow;
        text += candidateLabel(Text::rejected, style, colour) + printable(file.path) + "  " +
                inBrackets(file.step) + "  " + printable(file.message) + "\n";
    }
    if (record.found.empty())
        text += nothingIn(record, places, colour);
    return text.empty() ? printable(textOf(Text::nowhere_searched, {record.name})) + "\n" : text;
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
