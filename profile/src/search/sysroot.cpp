#include "search/sysroot.h"

#include <toolbelt2/path.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace lokata::profile {

namespace fs = std::filesystem;
using toolbelt2::without_slashes_at_end;

namespace {

/// As many as the kernel follows, path_resolution(7).
constexpr int c_maxLinks = 40;

/// Puts the components of a path on a stack, the first one on top.
void push(std::string_view path, std::vector<std::string>& stack) {
    while (!path.empty()) {
        std::string_view const last = toolbelt2::last_component(path);
        if (!last.empty() && last != ".")
            stack.emplace_back(last);
        path.remove_suffix(std::min(last.size() + 1, path.size()));
    }
}

} // namespace

Sysroot::Sysroot(std::string_view root) : m_root(without_slashes_at_end(root)) {
    std::error_code error;
    if (!m_root.empty())
        m_canonicalRoot = without_slashes_at_end(fs::canonical(m_root, error).string());
}

std::string Sysroot::resolve(std::string const& path) const {
    for (std::string const* const root : {&m_root, &m_canonicalRoot})
        if (!root->empty() && path.size() > root->size() && path[root->size()] == '/' &&
            path.compare(0, root->size(), *root) == 0)
            return below(*root, path.substr(root->size()));
    return path;
}

std::string Sysroot::below(std::string const& root, std::string const& path) const {
    std::vector<std::string> left;
    push(path, left);
    std::string resolved = root;
    for (int links = 0; !left.empty();) {
        std::string const component = std::move(left.back());
        left.pop_back();
        if (component == "..") {
            if (resolved.size() > root.size())
                resolved.resize(resolved.rfind('/'));
            continue;
        }
        std::string next = toolbelt2::join_path(resolved, component);
        std::error_code error;
        std::string const target = fs::read_symlink(next, error).string();
        if (error) {
            resolved = std::move(next);
            continue;
        }
        if (++links > c_maxLinks)
            return {};
        push(target, left);
        if (target.front() == '/')
            resolved = root;
    }
    return resolved;
}

} // namespace lokata::profile
