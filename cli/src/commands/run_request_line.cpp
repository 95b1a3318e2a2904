#include "commands/run_request_line.h"

#include "console/texts.h"
#include "search/choice.h"
#include "search/enumerator_names.h"

#include <nlohmann/json.hpp>

#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <vector>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

search_category_t categoryOf(std::string const& word) {
    auto const category = profile::valueOf(c_fileCategoryWords, word);
    if (!category)
        throw MalformedLine(textOf(Text::not_one_of, {word, anyOf(c_fileCategoryWords)}));
    return *category;
}

/// Of two members of one name the parser would take the last, and leave no trace of the other.
nlohmann::json parseObject(std::string const& line) {
    using nlohmann::json;
    std::set<std::string> names;
    auto const refuseRepeated = [&](int depth, json::parse_event_t event, json& name) {
        if (event == json::parse_event_t::key && depth == 1 &&
            !names.insert(name.get<std::string>()).second)
            throw MalformedLine(textOf(Text::member_twice, {name.get<std::string>()}));
        return true;
    };
    json object = json::parse(line, refuseRepeated, false);
    if (!object.is_object())
        throw MalformedLine(textOf(Text::no_object));
    return object;
}

SearchRequest parseJson(std::string const& line) {
    auto const object = parseObject(line);
    std::string category;
    SearchRequest request;
    std::map<std::string, std::string*> const members{{"category", &category},
                                                      {"name", &request.name},
                                                      {"binary", &request.binary},
                                                      {"checksum", &request.checksum}};
    for (auto const& [key, value] : object.items()) {
        auto const member = members.find(key);
        if (member == members.end())
            throw MalformedLine(textOf(Text::unknown_member, {key}));
        if (value.is_null())
            continue;
        if (!value.is_string())
            throw MalformedLine(textOf(Text::member_no_text, {key}));
        *member->second = value.get<std::string>();
        if (member->second->find('\0') != std::string::npos)
            throw MalformedLine(textOf(Text::null_byte, {key}));
    }
    request.category = categoryOf(category);
    return request;
}

SearchRequest parseWords(std::string const& line) {
    std::istringstream input(line);
    std::vector<std::string> words;
    std::string word;
    while (input >> std::ws && !input.eof()) {
        if (!(input >> std::quoted(word)))
            throw MalformedLine(textOf(Text::open_quote));
        if (word.find('\0') != std::string::npos)
            throw MalformedLine(textOf(Text::null_byte, {word}));
        words.push_back(word);
    }
    SearchRequest request;
    request.category = categoryOf(words.front());
    std::size_t const most = request.category == scBinaryFiles ? 2 : 4;
    if (words.size() > most)
        throw MalformedLine(textOf(Text::word_too_many, {words[most]}));
    words.resize(4);
    request.name = words[1];
    request.binary = words[2];
    request.checksum = words[3];
    return request;
}

} // namespace

std::optional<SearchRequest> parseRequestLine(std::string const& line) {
    if (line.size() > c_maxRequestLine)
        throw MalformedLine(textOf(Text::line_too_long, {std::to_string(c_maxRequestLine)}));
    // What `std::ws` skips: a line of nothing else has no words.
    std::size_t const start = line.find_first_not_of(" \t\v\f\r\n");
    if (start == std::string::npos || line[start] == '#')
        return std::nullopt;
    SearchRequest request = line[start] == '{' ? parseJson(line) : parseWords(line);
    if (request.name.empty())
        throw MalformedLine(textOf(Text::name_missing));
    if (request.category == scBinaryFiles && !request.binary.empty())
        throw MalformedLine(textOf(Text::binary_of_binary));
    return request;
}

} // namespace lokata::cli
