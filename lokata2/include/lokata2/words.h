#pragma once

#include <lokata2/search_types.h>

#include <cstddef>
#include <optional>
#include <string_view>

/// The words that stand for the values of an enumeration in logs, in documents, on a command line
/// and in the names of directories. Each enumeration has one table of them, those of a search here.
namespace LK_2_13 {

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

/// In the order of a search; `ssAskUser` is none of its steps.
constexpr Word<search_step_t> c_searchSteps[]{
    {ssArchiveSearchDirs, "ssArchiveSearchDirs"},
    {ssHighPrioritySearchDirs, "ssHighPrioritySearchDirs"},
    {ssCacheSearchDir, "ssCacheSearchDir"},
    {ssAbsoluteNameLookup, "ssAbsoluteNameLookup"},
    {ssAroundBinaryLookup, "ssAroundBinaryLookup"},
    {ssLowPrioritySearchDirs, "ssLowPrioritySearchDirs"},
    {ssSystemDirs, "ssSystemDirs"},
    {ssAskUser, "ssAskUser"},
};
constexpr Word<search_category_t> c_searchCategories[]{
    {scBinaryFiles, "scBinaryFiles"},
    {scSymbolFiles, "scSymbolFiles"},
    {scSourceFiles, "scSourceFiles"},
    {scAllFiles, "scAllFiles"},
};
constexpr Word<confidence_t> c_confidences[]{
    {cfValidated, "cfValidated"},
    {cfPolicyHigh, "cfPolicyHigh"},
    {cfPolicyLow, "cfPolicyLow"},
};
constexpr Word<severity_t> c_severities[]{
    {svError, "svError"},
    {svWarning, "svWarning"},
    {svNone, "svNone"},
};

/// The directories of an archive, and those of the same names in a result directory.
constexpr Word<search_category_t> c_archiveCategories[]{
    {scBinaryFiles, "binaries"},
    {scSymbolFiles, "symbols"},
    {scSourceFiles, "sources"},
    {scAllFiles, "all"},
};

} // namespace LK_2_13
