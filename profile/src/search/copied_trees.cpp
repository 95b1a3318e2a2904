#include "search/copied_trees.h"

#include <toolbelt2/path.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include <sys/stat.h>

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

/// The device and the inode that a path leads to on this machine.
std::optional<std::pair<dev_t, ino_t>> fileAt(std::string const& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return std::pair(status.st_dev, status.st_ino);
}

bool liesBelow(std::string const& root, std::string const& path) {
    return !root.empty() && path.size() > root.size() && path[root.size()] == '/' &&
           path.compare(0, root.size(), root) == 0;
}

} // namespace

CopiedTrees::CopiedTrees(PlaceOptions const& options) {
    for (std::string_view const given :
         {std::string_view(options.sysroot),
          options.symfs_flat ? std::string_view() : std::string_view(options.symfs)}) {
        std::string root(without_slashes_at_end(given));
        if (root.empty()) // None, or the root directory of this machine.
            continue;
        std::error_code error;
        std::string canonical = fs::canonical(root, error).string();
        m_roots.push_back({std::move(root), std::string(without_slashes_at_end(canonical))});
    }
}

std::string CopiedTrees::resolve(std::string const& path) const {
    std::string const* innermost = nullptr;
    for (Root const& root : m_roots)
        for (std::string const* const each : {&root.path, &root.canonical_path})
            if (liesBelow(*each, path) &&
                (innermost == nullptr || each->size() > innermost->size()))
                innermost = each;
    return innermost == nullptr
               ? path
               : below(*innermost, std::string_view(path).substr(innermost->size()));
}

bool CopiedTrees::leadsOut(std::string const& path) const {
    return std::any_of(
        m_roots.begin(), m_roots.end(), [&](Root const& root) { return leadsOut(root, path); });
}

/// The first directory on the way that lies in the tree decides: what follows it means what it
/// means inside. A link to it from elsewhere, or a name relative to it, is such a way as well.
bool CopiedTrees::leadsOut(Root const& root, std::string const& path) {
    auto const rootFile = fileAt(root.path);
    std::error_code error;
    std::string const whole = fs::absolute(path, error).string();
    if (!rootFile || error)
        return false;
    for (std::size_t end = whole.find('/', 1); end != std::string::npos;
         end = whole.find('/', end + 1)) {
        std::string const start = whole.substr(0, end);
        std::string inside;
        if (fileAt(start) != rootFile) {
            std::string const canonical = fs::canonical(start, error).string();
            if (error || !liesBelow(root.canonical_path, canonical))
                continue;
            inside = canonical.substr(root.canonical_path.size());
        }
        auto const here = fileAt(whole);
        return here && here != fileAt(below(root.canonical_path, inside + whole.substr(end)));
    }
    return false;
}

std::string CopiedTrees::below(std::string const& root, std::string_view path) {
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
