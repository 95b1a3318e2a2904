#pragma once

/// The words that stand for the values of an enumeration on a command line, in documents and on the
/// page. Each enumeration has one table of them beside its declaration.

#include <lokata/profile/export.h>

#include <cstddef>
#include <optional>
#include <string_view>

namespace lokata::profile {

template <class Value>
struct Word {
    Value value;
    /// Lives as long as the program, and ends with a null character.
    std::string_view text;
};

/// Empty for a value without a word.
template <class Value, std::size_t n>
constexpr std::string_view wordOf(Word<Value> const (&words)[n], Value value) {
    for (Word<Value> const& word : words)
        if (word.value == value)
            return word.text;
    return {};
}

/// Empty for an unknown word.
template <class Value, std::size_t n>
constexpr std::optional<Value> valueOf(Word<Value> const (&words)[n], std::string_view text) {
    for (Word<Value> const& word : words)
        if (word.text == text)
            return word.value;
    return std::nullopt;
}

} // namespace lokata::profile
