#include "search/file_places.h"

#include "read/names.h"

#include <lokata2/utils.h>
#include <toolbelt2/path.h>
#include <toolbelt2/text.h>

#include <algorithm>
#include <filesystem>

namespace lokata::profile {

namespace {

using LK_2_13::utils::getFileNameOnly;
using toolbelt2::join_path;
using toolbelt2::parent_of;

/// The path with its links resolved; as it is if it leads nowhere.
std::string realPath(std::string const& path) {
    std::error_code error;
    std::filesystem::path const result = std::filesystem::canonical(path, error);
    return error ? path : result.string();
}

/// "xx/rest", the form of a build-id below a directory .build-id; empty for an id too short.
std::string buildIdPath(BuildId const& buildId) {
    if (buildId.size() < 2)
        return {};
    std::string const hex = toHex(buildId);
    return hex.substr(0, 2) + "/" + hex.substr(2);
}

} // namespace

void addDebugDirs(std::vector<std::string>& dirs, std::string_view list) {
    while (!list.empty()) {
        std::size_t const end = std::min(list.find(':'), list.size());
        if (end != 0)
            dirs.emplace_back(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
}

bool parseSymfs(std::string_view text, PlaceOptions& options) {
    std::size_t const comma = text.rfind(',');
    std::string_view const layout =
        comma == std::string_view::npos ? "hierarchy" : text.substr(comma + 1);
    if (text.empty() || comma == 0 || (layout != "flat" && layout != "hierarchy"))
        return false;
    options.symfs = text.substr(0, comma);
    options.symfs_flat = layout == "flat";
    return true;
}

FilePlaces::FilePlaces(PlaceOptions options) : m_options(std::move(options)), m_trees(m_options) {}

void FilePlaces::add(std::string const& path, Place place, std::vector<Candidate>& result) const {
    std::string resolved = m_trees.resolve(path);
    if (!resolved.empty())
        result.push_back({std::move(resolved), place});
}

void FilePlaces::addRenamed(std::string const& name, std::vector<Candidate>& result) const {
    if (!isSafeName(name))
        return;
    std::vector<std::string> names{name};
    for (PathSubstitution const& substitution : m_options.substitutions)
        if (std::optional<std::string> renamed = substitution.apply(name)) {
            add(*renamed, Place::substitute_path, result);
            names.push_back(std::move(*renamed));
        }
    if (!m_options.symfs.empty() && m_options.symfs_flat)
        add(join_path(m_options.symfs, getFileNameOnly(name.c_str())), Place::symfs, result);
    for (std::string const& each : names) {
        if (!m_options.symfs.empty() && !m_options.symfs_flat)
            add(join_path(m_options.symfs, each), Place::symfs, result);
        if (!m_options.sysroot.empty())
            add(join_path(m_options.sysroot, each), Place::sysroot, result);
    }
}

void FilePlaces::addBuildIdTree(BuildId const& buildId, char const* suffix,
                                std::vector<Candidate>& result) const {
    std::string const id = buildIdPath(buildId);
    if (id.empty())
        return;
    for (std::string const& dir : m_options.debug_dirs) {
        std::string const path = join_path(dir, ".build-id/" + id + suffix);
        add(path, Place::build_id_tree, result);
        for (std::string const* const root : {&m_options.sysroot, &m_options.symfs})
            if (!root->empty())
                add(join_path(*root, path), Place::build_id_tree, result);
    }
}

/// Links in .build-id lead to a directory per version of a file; before Linux 4.10 they led to the
/// file itself (tools/perf/util/build-id.c, tools/perf/Documentation/perf-buildid-cache.txt).
void FilePlaces::addPerfCache(std::string const& name, BuildId const& buildId,
                              std::initializer_list<char const*> files,
                              std::vector<Candidate>& result) const {
    std::string const id = buildIdPath(buildId);
    if (m_options.perf_cache.empty() || id.empty())
        return;
    std::string const link = join_path(m_options.perf_cache, ".build-id/" + id);
    for (char const* const file : files)
        add(join_path(link, file), Place::perf_cache, result);
    add(link, Place::perf_cache, result);
    if (isSafeName(name))
        for (char const* const file : files)
            add(join_path(join_path(join_path(m_options.perf_cache, name), toHex(buildId)), file),
                Place::perf_cache, result);
}

/// In the layout of the client library of elfutils 0.188. An empty file is a question that no
/// server could answer.
void FilePlaces::addDebuginfodCache(BuildId const& buildId, std::string const& file,
                                    std::vector<Candidate>& result) const {
    if (m_options.debuginfod_cache.empty() || buildId.empty())
        return;
    std::string const path = join_path(m_options.debuginfod_cache, {toHex(buildId), file});
    std::error_code error;
    if (std::filesystem::file_size(path, error) != 0)
        add(path, Place::debuginfod_cache, result);
}

std::vector<Candidate> FilePlaces::binary(std::string const& name) const {
    std::vector<Candidate> result;
    addRenamed(name, result);
    return result;
}

std::vector<Candidate> FilePlaces::storedBinary(std::string const& name,
                                                BuildId const& buildId) const {
    std::vector<Candidate> result;
    addPerfCache(name, buildId, {"elf", "vdso"}, result);
    addBuildIdTree(buildId, "", result);
    addDebuginfodCache(buildId, "executable", result);
    return result;
}

/// The manual of gdb, "Debugging Information in Separate Files"; the sysroot is taken off and put
/// in front as its `set sysroot` does.
void FilePlaces::addDebugLink(std::string const& directory, std::string const& link,
                              std::vector<Candidate>& result) const {
    add(join_path(directory, link), Place::debug_link, result);
    add(join_path(directory, ".debug/" + link), Place::debug_link, result);
    PathSubstitution const intoRoot{m_options.sysroot, ""};
    std::optional<std::string> const inRoot =
        m_options.sysroot.empty() ? std::nullopt : intoRoot.apply(directory);
    for (std::string const& dir : m_options.debug_dirs) {
        add(join_path(join_path(dir, directory), link), Place::debug_link, result);
        if (!inRoot)
            continue;
        std::string const inDebugDir = join_path(join_path(dir, *inRoot), link);
        add(inDebugDir, Place::debug_link, result);
        add(join_path(m_options.sysroot, inDebugDir), Place::debug_link, result);
    }
}

std::vector<Candidate> FilePlaces::symbols(std::string const& name, std::string const& binaryPath,
                                           BuildId const& buildId,
                                           std::optional<DebugLink> const& link) const {
    std::vector<Candidate> result;
    if (!binaryPath.empty())
        add(binaryPath, Place::binary_itself, result);
    addBuildIdTree(buildId, ".debug", result);
    bool const linked = link && isSafeBareName(link->name);
    if (linked && !binaryPath.empty())
        addDebugLink(parent_of(realPath(binaryPath)), link->name, result);
    if (linked && isSafeName(name) && name.front() == '/')
        addDebugLink(parent_of(name), link->name, result);
    for (std::string const& path : recordedSymbolPaths(name, link))
        addRenamed(path, result);
    return result;
}

std::vector<std::string>
FilePlaces::recordedSymbolPaths(std::string const& name,
                                std::optional<DebugLink> const& link) const {
    if (!isSafeName(name))
        return {};
    std::vector<std::string> result;
    if (link && isSafeBareName(link->name)) {
        std::string const directory = parent_of(name);
        result.push_back(join_path(directory, link->name));
        result.push_back(join_path(directory, ".debug/" + link->name));
        for (std::string const& dir : m_options.debug_dirs)
            result.push_back(join_path(join_path(dir, directory), link->name));
    }
    result.push_back(name);
    result.push_back(name + ".debug");
    return result;
}

std::vector<Candidate> FilePlaces::storedSymbols(std::string const& name,
                                                 BuildId const& buildId) const {
    std::vector<Candidate> result;
    addPerfCache(name, buildId, {"debug", "elf"}, result);
    addDebuginfodCache(buildId, "debuginfo", result);
    return result;
}

std::vector<Candidate> FilePlaces::supplementary(std::string const& symbolPath,
                                                 AltLink const& link) const {
    std::vector<Candidate> result;
    addBuildIdTree(link.build_id, ".debug", result);
    bool const isNamed = !link.name.empty() && !hasControlByte(link.name);
    if (isNamed && link.name.front() == '/') {
        add(link.name, Place::alt_link, result);
        addRenamed(link.name, result);
    } else if (isNamed) {
        // Not held to its directory, as packagers record "../../.dwz/NAME.debug".
        add(join_path(parent_of(realPath(symbolPath)), link.name), Place::alt_link, result);
    }
    addDebuginfodCache(link.build_id, "debuginfo", result);
    return result;
}

/// As gdb does: beside the file, by its own name and by that with links resolved, then by its bare
/// name in the debug directories. For x.debug lldb takes x.dwp, too.
std::vector<Candidate> FilePlaces::package(std::string const& name, std::string const& binaryPath,
                                           std::string const& symbolPath) const {
    constexpr std::string_view c_debug = ".debug";
    std::vector<std::string> paths;
    auto const addOnce = [&](std::string path) {
        if (std::find(paths.begin(), paths.end(), path) == paths.end())
            paths.push_back(std::move(path));
    };
    for (std::string const* const path : {&symbolPath, &binaryPath})
        if (!path->empty())
            for (std::string const& each : {*path, realPath(*path)})
                addOnce(each + ".dwp");
    if (toolbelt2::ends_with(symbolPath, c_debug))
        addOnce(symbolPath.substr(0, symbolPath.size() - c_debug.size()) + ".dwp");
    for (std::string const& dir : m_options.debug_dirs)
        for (std::string const& each : packageFileNames(name, symbolPath))
            addOnce(join_path(dir, getFileNameOnly(each.c_str())));
    std::vector<Candidate> result;
    for (std::string const& path : paths)
        add(path, Place::split_dwarf, result);
    addRenamed(name + ".dwp", result);
    return result;
}

std::vector<Candidate> FilePlaces::splitUnit(std::string const& name,
                                             std::string const& fullName) const {
    std::vector<Candidate> result;
    addRenamed(fullName, result);
    if (isSafeName(name) && name.front() != '/')
        for (std::string const& dir : m_options.debug_dirs)
            add(join_path(dir, name), Place::split_dwarf, result);
    return result;
}

std::vector<Candidate> FilePlaces::source(std::string const& name) const {
    std::vector<Candidate> result;
    addRenamed(name, result);
    return result;
}

/// Later versions of elfutils name sources by a hash and the end of the path; those are not looked
/// for.
std::vector<Candidate> FilePlaces::storedSource(std::string const& name,
                                                BuildId const& module) const {
    std::vector<Candidate> result;
    if (!isSafeName(name) || name.front() != '/')
        return result;
    std::string file = "source";
    for (char const c : name)
        file.append(c == '/' ? "##" : c == '#' ? "#_" : std::string_view(&c, 1));
    addDebuginfodCache(module, file, result);
    return result;
}

std::vector<std::string> symbolFileNames(std::string const& name, BuildId const& buildId,
                                         std::optional<DebugLink> const& link) {
    std::vector<std::string> result;
    auto const add = [&](std::string text) {
        if (!text.empty() && std::find(result.begin(), result.end(), text) == result.end())
            result.push_back(std::move(text));
    };
    std::string const searchable = searchableName(name);
    std::string const directory =
        searchable.find('/') == std::string::npos ? "" : parent_of(searchable);
    if (link && isSafeBareName(link->name))
        add(join_path(directory, link->name));
    if (std::string const id = buildIdPath(buildId); !id.empty())
        add(".build-id/" + id + ".debug");
    if (!searchable.empty()) {
        add(searchable + ".debug");
        add(searchable);
    }
    return result;
}

std::string supplementaryFileName(AltLink const& link) {
    std::string bare = getFileNameOnly(link.name.c_str());
    return isSafeBareName(bare) ? bare : toHex(link.build_id);
}

std::vector<std::string> bareNames(std::vector<std::string> names) {
    for (std::string& name : names)
        name = getFileNameOnly(name.c_str());
    names.erase(std::remove(names.begin(), names.end(), ""), names.end());
    return names;
}

std::string askedName(std::string const& searchable, BuildId const& buildId) {
    return searchable.empty() ? toHex(buildId) : searchable;
}

std::vector<std::string> packageFileNames(std::string const& name, std::string const& symbolPath) {
    std::vector<std::string> result;
    if (std::string const searchable = searchableName(name); !searchable.empty())
        result.push_back(searchable + ".dwp");
    std::string const beside = getFileNameOnly(symbolPath.c_str()) + std::string(".dwp");
    if (result.empty() || getFileNameOnly(result.front().c_str()) != beside)
        result.push_back(beside);
    return result;
}

std::string searchableName(std::string const& name) {
    // What takes the name up to a zero byte must not see one, or it finds another file.
    bool const isWhole = name.find('\0') == std::string::npos;
    std::string result = isWhole ? LK_2_13::utils::getCanonicalName(name.c_str(), false) : name;
    while (toolbelt2::starts_with(result, "../"))
        result.erase(0, 3);
    if (isSafeName(result))
        return result;
    std::string const bare(toolbelt2::last_component(result));
    return isSafeBareName(bare) ? bare : "";
}

} // namespace lokata::profile
