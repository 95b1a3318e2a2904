#include "search/search_dir_argument.h"

#include "console/failure.h"
#include "search/choice.h"
#include "search/enumerator_names.h"

namespace lokata::cli {

SearchDirArgument parseSearchDir(std::string const& text) {
    auto const failure = [&text](std::string const& reason) {
        return Failure("\"" + text + "\": " + reason);
    };

    std::size_t const equals = text.find('=');
    if (equals == std::string::npos)
        throw failure("a search directory has the form WORD[:FLAGS]=DIR");
    std::string const head = text.substr(0, equals);
    std::size_t const colon = head.find(':');

    auto const category = profile::valueOf(c_categoryWords, head.substr(0, colon));
    if (!category)
        throw failure("the word before the directory is " + anyWordOf(c_categoryWords));
    SearchDirArgument result{*category, false, false, text.substr(equals + 1)};
    if (result.directory.empty())
        throw failure("the directory is missing");
    if (colon == std::string::npos)
        return result;

    if (colon + 1 == head.size())
        throw failure("the flags behind the colon are missing");
    for (char const flag : head.substr(colon + 1))
        if (flag == 'r')
            result.recursive = true;
        else if (flag == 'p')
            result.priority = true;
        else
            throw failure("the flags are r (recursive) and p (high priority)");
    return result;
}

} // namespace lokata::cli
