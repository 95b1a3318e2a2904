#include "lk_path.h"

#include <toolbelt2/path.h>

#include <algorithm>

namespace LK_2_13::paths {

namespace {

constexpr char c_separator = '/';

bool endsWithSeparator(std::string_view path) {
    return !path.empty() && path.back() == c_separator;
}

/// The length of a leading "//host".
std::size_t rootNameLength(std::string_view path) {
    if (path.size() < 3 || path[0] != c_separator || path[1] != c_separator ||
        path[2] == c_separator)
        return 0;
    return std::min(path.find(c_separator, 2), path.size());
}

std::string_view withoutTrailingSeparators(std::string_view path) {
    while (path.size() > 1 && endsWithSeparator(path))
        path.remove_suffix(1);
    return path;
}

} // namespace

std::string join(std::string_view directory, std::string_view part) {
    return toolbelt2::join_path(directory, part);
}

std::string normal(std::string_view path) {
    if (path.empty())
        return {};
    std::size_t const rootName = rootNameLength(path);
    std::string result(path.substr(0, rootName));
    std::string_view rest = path.substr(rootName);
    bool const rooted = !rest.empty() && rest.front() == c_separator;
    if (rooted)
        result += c_separator;
    std::size_t const base = result.size();

    std::string_view last;
    while (!rest.empty()) {
        std::size_t const begin = rest.find_first_not_of(c_separator);
        if (begin == std::string_view::npos)
            break;
        std::size_t const end = std::min(rest.find(c_separator, begin), rest.size());
        last = rest.substr(begin, end - begin);
        rest.remove_prefix(end);
        if (last == ".")
            continue;
        if (last == "..") {
            std::string_view const kept = std::string_view(result).substr(base);
            std::string_view const tail = kept.substr(kept.rfind(c_separator) + 1);
            if (!tail.empty() && tail != "..") {
                std::size_t const cut = result.size() - tail.size();
                result.resize(cut > base ? cut - 1 : cut);
                continue;
            }
            if (rooted)
                continue;
        }
        if (result.size() > base)
            result += c_separator;
        result += last;
    }
    if (result.size() == base)
        return base == 0 ? "." : result;
    if (endsWithSeparator(path) || last == ".")
        result += c_separator;
    return result;
}

std::string normalName(std::string_view path) {
    std::string result = normal(path);
    if (result.size() > 1 && endsWithSeparator(result))
        result.pop_back();
    return result;
}

std::string_view fileName(std::string_view path) {
    if (withoutTrailingSeparators(path) == "/")
        return "/";
    if (endsWithSeparator(path))
        return ".";
    if (path.size() == rootNameLength(path))
        return path;
    return path.substr(path.rfind(c_separator) + 1);
}

std::string_view stem(std::string_view path) {
    std::string_view name = fileName(path);
    name.remove_suffix(extension(path).size());
    return name;
}

std::string_view extension(std::string_view path) {
    std::string_view const name = fileName(path);
    std::size_t const dot = name.rfind('.');
    if (dot == std::string_view::npos || name == "." || name == "..")
        return {};
    return name.substr(dot);
}

std::string_view parent(std::string_view path) {
    if (endsWithSeparator(path)) {
        std::string_view const directory = withoutTrailingSeparators(path);
        return directory == "/" ? std::string_view() : directory;
    }
    std::size_t const cut = path.rfind(c_separator);
    if (cut == std::string_view::npos || path.size() == rootNameLength(path))
        return {};
    return withoutTrailingSeparators(path.substr(0, cut + 1));
}

bool isRooted(std::string_view path) {
    std::size_t const rootName = rootNameLength(path);
    return rootName < path.size() && path[rootName] == c_separator;
}

std::vector<std::string_view> elements(std::string_view path) {
    std::vector<std::string_view> result;
    std::size_t const rootName = rootNameLength(path);
    if (rootName > 0)
        result.push_back(path.substr(0, rootName));
    if (isRooted(path))
        result.push_back(path.substr(rootName, 1));
    for (std::size_t begin = rootName; begin < path.size();) {
        begin = path.find_first_not_of(c_separator, begin);
        if (begin == std::string_view::npos)
            break;
        std::size_t const end = std::min(path.find(c_separator, begin), path.size());
        result.push_back(path.substr(begin, end - begin));
        begin = end;
    }
    return result;
}

void fixWindowsSeparators(std::string& path) {
    bool const isHost = path.compare(0, 2, "\\\\") == 0;
    bool const isDrive = path.size() > 2 && path[1] == ':' && path[2] == '\\';
    if (isHost || isDrive)
        std::replace(path.begin(), path.end(), '\\', '/');
}

} // namespace LK_2_13::paths
