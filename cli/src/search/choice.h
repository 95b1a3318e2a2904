#pragma once

#include "console/texts.h"

#include <lokata/profile/words.h>

#include <CLI/CLI.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// What the program takes as one of the words of a table: the option, its help and its check.
namespace lokata::cli {

/// The words of a table with `separator` between them, and `last` before the last one.
template <class Value, std::size_t n>
std::string joinedWords(profile::Word<Value> const (&words)[n], std::string_view separator,
                        std::string_view last) {
    std::string text;
    for (std::size_t i = 0; i < n; ++i)
        text.append(i == 0 ? "" : i + 1 < n ? separator : last).append(words[i].text);
    return text;
}

/// As "bin, sym or src", in English as all help.
template <class Value, std::size_t n>
std::string anyWordOf(profile::Word<Value> const (&words)[n]) {
    return joinedWords(words, ", ", " or ");
}

/// The same in the language of the process.
template <class Value, std::size_t n>
std::string anyOf(profile::Word<Value> const (&words)[n]) {
    return joinedWords(words, ", ", " " + textOf(Text::or_) + " ");
}

template <class Value, std::size_t n>
CLI::Validator isWordOf(profile::Word<Value> const (&words)[n]) {
    std::vector<std::string> texts;
    for (profile::Word<Value> const& word : words)
        texts.emplace_back(word.text);
    return CLI::IsMember(texts).description("");
}

/// Declares an option whose value is given by one of the words. Table and value must outlive the
/// command.
template <class Value, std::size_t n>
CLI::Option* addChoice(CLI::App& command, std::string const& name, Value& value,
                       profile::Word<Value> const (&words)[n], std::string const& description) {
    auto const set = [&value, &words](std::string const& word) {
        value = *profile::valueOf(words, word);
    };
    return command.add_option_function<std::string>(name, set, description)
        ->type_name(joinedWords(words, "|", "|"))
        ->default_str(std::string(profile::wordOf(words, value)))
        ->check(isWordOf(words));
}

/// The same for an option that takes any number of words.
template <class Value, std::size_t n>
CLI::Option* addChoices(CLI::App& command, std::string const& name, std::vector<Value>& values,
                        profile::Word<Value> const (&words)[n], std::string const& description) {
    auto const set = [&values, &words](std::vector<std::string> const& given) {
        values.clear();
        for (std::string const& word : given)
            values.push_back(*profile::valueOf(words, word));
    };
    return command.add_option_function<std::vector<std::string>>(name, set, description)
        ->type_name(joinedWords(words, "|", "|"))
        ->check(isWordOf(words));
}

} // namespace lokata::cli
