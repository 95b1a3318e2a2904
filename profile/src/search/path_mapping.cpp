#include "search/path_mapping.h"

#include <toolbelt2/path.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace lokata::profile {

namespace {

using toolbelt2::parent_length;
using toolbelt2::without_slashes_at_end;

constexpr std::size_t c_maxTargets = 8;

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
    return PathSubstitution{std::string(without_slashes_at_end(text.substr(0, equals))),
                            std::string(without_slashes_at_end(text.substr(equals + 1)))};
}

void LearnedPaths::learn(std::string_view recorded, std::string_view found) {
    // Below .build-id a name tells what the file is and not where it lay.
    if (recorded.empty() || recorded.front() != '/' || found.empty() ||
        recorded.find("/.build-id/") != std::string_view::npos)
        return;
    std::error_code error;
    std::string const absolute = std::filesystem::absolute(found, error).lexically_normal();
    if (error)
        return;
    std::string_view target = absolute;
    bool shared = false;
    for (;;) {
        std::size_t const from = parent_length(recorded);
        std::size_t const to = parent_length(target);
        if (from == std::string_view::npos || to == std::string_view::npos ||
            recorded.substr(from) != target.substr(to))
            break;
        shared = true;
        recorded = recorded.substr(0, from);
        target = target.substr(0, to);
    }
    if (shared && recorded != target)
        ++m_targets[std::string(recorded)][std::string(target)];
}

std::vector<std::string> LearnedPaths::ordered(Targets const& targets) {
    std::vector<std::string> result;
    // A prefix that led to many places says nothing any more.
    if (targets.size() > c_maxTargets)
        return result;
    for (auto const& [target, count] : targets)
        result.push_back(target);
    std::stable_sort(result.begin(), result.end(), [&](auto const& left, auto const& right) {
        return targets.at(left) > targets.at(right);
    });
    return result;
}

std::vector<std::string> LearnedPaths::candidates(std::string_view name) const {
    std::vector<std::string> result;
    for (std::size_t length = parent_length(name); length != std::string_view::npos;
         length = parent_length(name.substr(0, length))) {
        auto const known = m_targets.find(name.substr(0, length));
        if (known == m_targets.end())
            continue;
        for (std::string const& target : ordered(known->second))
            result.push_back(target + std::string(name.substr(length)));
    }
    return result;
}

std::vector<PathSubstitution> LearnedPaths::substitutions() const {
    std::vector<PathSubstitution> result;
    for (auto const& [prefix, targets] : m_targets)
        for (std::string& target : ordered(targets))
            result.push_back({prefix, std::move(target)});
    return result;
}

} // namespace lokata::profile
