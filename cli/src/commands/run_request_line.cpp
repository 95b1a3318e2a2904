#include "commands/run_request_line.h"

#include "search/enumerator_names.h"

#include <nlohmann/json.hpp>

#include <iomanip>
#include <sstream>
#include <vector>

using namespace LK_2_13;

namespace lokata::cli {
namespace {

search_category_t categoryOf(std::string const& word) {
    auto const category = categoryOfWord(word);
    if (!category || *category == scAllFiles)
        throw MalformedLine("\"" + word + "\" is not bin, sym or src");
    return *category;
}

SearchRequest parseJson(std::string const& line) {
    auto const object = nlohmann::json::parse(line, nullptr, false);
    if (!object.is_object())
        throw MalformedLine("the line is no JSON object");
    auto const text = [&object](char const* key) {
        auto const value = object.find(key);
        if (value == object.end() || value->is_null())
            return std::string();
        if (!value->is_string())
            throw MalformedLine("\"" + std::string(key) + "\" is no text");
        return value->get<std::string>();
    };
    return {categoryOf(text("category")), text("name"), text("binary"), text("checksum"), {}};
}

SearchRequest parseWords(std::string const& line) {
    std::istringstream input(line);
    std::vector<std::string> words;
    std::string word;
    while (input >> std::ws && !input.eof()) {
        if (!(input >> std::quoted(word)))
            throw MalformedLine("a double quote is not closed");
        words.push_back(word);
    }
    SearchRequest request;
    request.category = categoryOf(words.front());
    std::size_t const most = request.category == scBinaryFiles ? 2 : 4;
    if (words.size() > most)
        throw MalformedLine("\"" + words[most] + "\" is one word too many");
    words.resize(4);
    request.name = words[1];
    request.binary = words[2];
    request.checksum = words[3];
    return request;
}

} // namespace

std::optional<SearchRequest> parseRequestLine(std::string const& line) {
    std::size_t const start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos || line[start] == '#')
        return std::nullopt;
    SearchRequest request = line[start] == '{' ? parseJson(line) : parseWords(line);
    if (request.name.empty())
        throw MalformedLine("the name is missing");
    if (request.name.find('\0') != std::string::npos)
        throw MalformedLine("the name holds a null byte");
    return request;
}

} // namespace lokata::cli
