#include "search/enumerator_names.h"

#include "console/failure.h"
#include "console/texts.h"

#include <algorithm>
#include <iterator>

namespace lokata::cli {

using namespace LK_2_13;

namespace {

template <class Value, std::size_t n>
std::string nameOrNumber(Word<Value> const (&names)[n], Value value) {
    std::string_view const name = wordOf(names, value);
    return name.empty() ? std::to_string(value) : std::string(name);
}

} // namespace

std::string nameOf(search_category_t category) {
    return nameOrNumber(c_searchCategories, category);
}

std::string nameOf(search_step_t step) {
    return nameOrNumber(c_searchSteps, step);
}

std::string nameOf(confidence_t confidence) {
    return nameOrNumber(c_confidences, confidence);
}

std::string nameOf(severity_t severity) {
    return nameOrNumber(c_severities, severity);
}

unsigned int parseSteps(std::string_view list) {
    unsigned int steps = 0;
    while (true) {
        std::size_t const comma = list.find(',');
        std::string_view const name = list.substr(0, comma);
        auto const found =
            std::find_if(std::begin(c_searchSteps), std::end(c_searchSteps), [name](auto& entry) {
                return name == entry.text || name == entry.text.substr(2);
            });
        if (found == std::end(c_searchSteps))
            throw Failure(textOf(Text::unknown_step, {name}));
        steps |= found->value;
        if (comma == std::string_view::npos)
            return steps;
        list.remove_prefix(comma + 1);
    }
}

} // namespace lokata::cli
