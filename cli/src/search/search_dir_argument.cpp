#include "search/search_dir_argument.h"

#include "console/failure.h"
#include "console/texts.h"
#include "search/choice.h"
#include "search/enumerator_names.h"

namespace lokata::cli {

SearchDirArgument parseSearchDir(std::string const& text) {
    auto const failure = [&text](Text fault) { return Failure(textOf(fault, {text})); };

    std::size_t const equals = text.find('=');
    if (equals == std::string::npos)
        throw failure(Text::dir_form);
    std::string const head = text.substr(0, equals);
    std::size_t const colon = head.find(':');

    auto const category = profile::valueOf(c_categoryWords, head.substr(0, colon));
    if (!category)
        throw Failure(textOf(Text::dir_word, {text, anyOf(c_categoryWords)}));
    SearchDirArgument result{*category, false, false, text.substr(equals + 1)};
    if (result.directory.empty())
        throw failure(Text::dir_missing);
    if (colon == std::string::npos)
        return result;

    if (colon + 1 == head.size())
        throw failure(Text::dir_flags_missing);
    for (char const flag : head.substr(colon + 1))
        if (flag == 'r')
            result.recursive = true;
        else if (flag == 'p')
            result.priority = true;
        else
            throw failure(Text::dir_flags);
    return result;
}

} // namespace lokata::cli
