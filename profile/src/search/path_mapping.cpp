#include "search/path_mapping.h"

#include <algorithm>

namespace lokata::profile {

namespace {

std::string_view withoutSlashes(std::string_view path) {
    while (!path.empty() && path.back() == '/')
        path.remove_suffix(1);
    return path;
}

/// The length of `path` in front of its last component and the slash before that; npos without a
/// slash.
std::size_t parentLength(std::string_view path) {
    return path.rfind('/');
}

} // namespace

std::optional<std::string> PathSubstitution::apply(std::string_view name) const {
    if (name.size() <= from.size() + 1 || name.substr(0, from.size()) != from ||
        name[from.size()] != '/')
        return std::nullopt;
    return to + std::string(name.substr(from.size()));
}

std::optional<PathSubstitution> parsePathSubstitution(std::string_view text) {
    std::size_t const equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0)
        return std::nullopt;
    return PathSubstitution{std::string(withoutSlashes(text.substr(0, equals))),
                            std::string(withoutSlashes(text.substr(equals + 1)))};
}

std::optional<PathSubstitution> LearnedPaths::learn(std::string_view recorded,
                                                    std::string_view found) {
    if (recorded.empty() || recorded.front() != '/' || found.empty() || found.front() != '/')
        return std::nullopt;
    bool shared = false;
    for (;;) {
        std::size_t const from = parentLength(recorded);
        std::size_t const to = parentLength(found);
        if (from == std::string_view::npos || to == std::string_view::npos ||
            recorded.substr(from) != found.substr(to))
            break;
        shared = true;
        recorded = recorded.substr(0, from);
        found = found.substr(0, to);
    }
    if (!shared || recorded == found)
        return std::nullopt;

    toolbelt2::mutex_guard_t const guard(m_mutex);
    std::vector<std::string>& targets = m_targets[std::string(recorded)];
    if (targets.size() == c_maxTargets ||
        std::find(targets.begin(), targets.end(), found) != targets.end())
        return std::nullopt;
    targets.emplace_back(found);
    m_all.push_back({std::string(recorded), std::string(found)});
    return m_all.back();
}

std::vector<std::string> LearnedPaths::candidates(std::string_view name) const {
    std::vector<std::string> result;
    toolbelt2::mutex_guard_t const guard(m_mutex);
    for (std::size_t length = parentLength(name); length != std::string_view::npos;
         length = parentLength(name.substr(0, length))) {
        auto const known = m_targets.find(name.substr(0, length));
        if (known == m_targets.end())
            continue;
        for (std::string const& target : known->second)
            result.push_back(target + std::string(name.substr(length)));
    }
    return result;
}

std::vector<PathSubstitution> LearnedPaths::all() const {
    toolbelt2::mutex_guard_t const guard(m_mutex);
    return m_all;
}

} // namespace lokata::profile
