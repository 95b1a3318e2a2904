#include "search/enumerator_names.h"

#include "console/failure.h"

#include <lokata/profile/resolution.h>

#include <algorithm>
#include <iterator>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

constexpr profile::Word<search_category_t> c_categoryNames[]{{scBinaryFiles, "scBinaryFiles"},
                                                             {scSymbolFiles, "scSymbolFiles"},
                                                             {scSourceFiles, "scSourceFiles"},
                                                             {scAllFiles, "scAllFiles"}};

template <class Value, std::size_t n>
std::string nameOrNumber(profile::Word<Value> const (&names)[n], Value value) {
    std::string_view const name = profile::wordOf(names, value);
    return name.empty() ? std::to_string(value) : std::string(name);
}

} // namespace

std::string nameOf(search_category_t category) {
    return nameOrNumber(c_categoryNames, category);
}

std::string nameOf(search_step_t step) {
    return nameOrNumber(profile::c_searchSteps, step);
}

std::string nameOf(confidence_t confidence) {
    return nameOrNumber(profile::c_confidences, confidence);
}

std::string nameOf(severity_t severity) {
    return nameOrNumber(profile::c_severities, severity);
}

unsigned int parseSteps(std::string_view list) {
    unsigned int steps = 0;
    while (true) {
        std::size_t const comma = list.find(',');
        std::string_view const name = list.substr(0, comma);
        auto const found = std::find_if(
            std::begin(profile::c_searchSteps), std::end(profile::c_searchSteps),
            [name](auto& entry) { return name == entry.text || name == entry.text.substr(2); });
        if (found == std::end(profile::c_searchSteps))
            throw Failure("--steps: \"" + std::string(name) + "\" is no search step");
        steps |= found->value;
        if (comma == std::string_view::npos)
            return steps;
        list.remove_prefix(comma + 1);
    }
}

} // namespace lokata::cli
