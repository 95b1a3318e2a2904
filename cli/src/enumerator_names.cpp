#include "enumerator_names.h"

#include "failure.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace LK_2_13;

namespace lokata::cli {
namespace {

template <class T, std::size_t n>
using Names = std::array<std::pair<T, char const*>, n>;

constexpr Names<search_category_t, 4> c_categoryNames{{{scBinaryFiles, "scBinaryFiles"},
                                                       {scSymbolFiles, "scSymbolFiles"},
                                                       {scSourceFiles, "scSourceFiles"},
                                                       {scAllFiles, "scAllFiles"}}};
constexpr Names<search_category_t, 4> c_categoryWords{
    {{scBinaryFiles, "bin"}, {scSymbolFiles, "sym"}, {scSourceFiles, "src"}, {scAllFiles, "all"}}};
constexpr Names<search_category_t, 4> c_archiveWords{{{scBinaryFiles, "binaries"},
                                                      {scSymbolFiles, "symbols"},
                                                      {scSourceFiles, "sources"},
                                                      {scAllFiles, "all"}}};
constexpr Names<search_step_t, 8> c_stepNames{
    {{ssArchiveSearchDirs, "ssArchiveSearchDirs"},
     {ssHighPrioritySearchDirs, "ssHighPrioritySearchDirs"},
     {ssCacheSearchDir, "ssCacheSearchDir"},
     {ssAbsoluteNameLookup, "ssAbsoluteNameLookup"},
     {ssAroundBinaryLookup, "ssAroundBinaryLookup"},
     {ssLowPrioritySearchDirs, "ssLowPrioritySearchDirs"},
     {ssSystemDirs, "ssSystemDirs"},
     {ssAskUser, "ssAskUser"}}};
constexpr Names<confidence_t, 3> c_confidenceNames{
    {{cfValidated, "cfValidated"}, {cfPolicyHigh, "cfPolicyHigh"}, {cfPolicyLow, "cfPolicyLow"}}};
constexpr Names<severity_t, 3> c_severityNames{
    {{svError, "svError"}, {svWarning, "svWarning"}, {svNone, "svNone"}}};

template <class T, std::size_t n>
char const* find(Names<T, n> const& names, T value) {
    auto const found = std::find_if(names.begin(), names.end(),
                                    [value](auto const& entry) { return entry.first == value; });
    return found == names.end() ? nullptr : found->second;
}

template <class T, std::size_t n>
std::string nameOrNumber(Names<T, n> const& names, T value) {
    char const* const name = find(names, value);
    return name != nullptr ? name : std::to_string(value);
}

} // namespace

std::string nameOf(search_category_t category) {
    return nameOrNumber(c_categoryNames, category);
}

std::string nameOf(search_step_t step) {
    return nameOrNumber(c_stepNames, step);
}

std::string nameOf(confidence_t confidence) {
    return nameOrNumber(c_confidenceNames, confidence);
}

std::string nameOf(severity_t severity) {
    return nameOrNumber(c_severityNames, severity);
}

std::optional<search_category_t> categoryOfWord(std::string_view word) {
    for (auto const& [category, name] : c_categoryWords)
        if (word == name)
            return category;
    return std::nullopt;
}

char const* wordOf(search_category_t category) {
    return find(c_categoryWords, category);
}

char const* archiveWordOf(search_category_t category) {
    return find(c_archiveWords, category);
}

unsigned int parseSteps(std::string_view list) {
    unsigned int steps = 0;
    while (true) {
        std::size_t const comma = list.find(',');
        std::string_view const name = list.substr(0, comma);
        auto const found =
            std::find_if(c_stepNames.begin(), c_stepNames.end(), [name](auto& entry) {
                return name == entry.second || name == entry.second + 2;
            });
        if (found == c_stepNames.end())
            throw Failure("--steps: \"" + std::string(name) + "\" is no search step");
        steps |= found->first;
        if (comma == std::string_view::npos)
            return steps;
        list.remove_prefix(comma + 1);
    }
}

} // namespace lokata::cli
