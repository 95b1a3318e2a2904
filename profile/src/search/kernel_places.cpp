#include "search/kernel_places.h"

#include "read/names.h"

#include <lokata2/search_types.h>
#include <lokata2/utils.h>
#include <toolbelt2/path.h>
#include <toolbelt2/text.h>
#include <unpack/packed_file.h>

#include <algorithm>
#include <filesystem>

namespace lokata::profile {

namespace fs = std::filesystem;
using toolbelt2::join_path;

namespace {

constexpr std::string_view c_suffix = ".ko";
/// The unpacked image, in the directories of its modules.
constexpr std::string_view c_image = "vmlinux";

/// What tells a module from others: its name up to ".ko", in the spelling of /proc/modules. Empty
/// for another file. A separate debug file may add an ending of its own.
std::string moduleKey(std::string const& fileName) {
    constexpr std::string_view c_debug = ".debug";
    std::string key(unpack::withoutPackedEnding(fileName));
    if (toolbelt2::ends_with(key, c_debug))
        key.resize(key.size() - c_debug.size());
    std::size_t const end = key.size() - std::min(key.size(), c_suffix.size());
    if (key.compare(end, std::string::npos, c_suffix) != 0)
        return {};
    key.resize(end);
    std::replace(key.begin(), key.end(), '-', '_');
    return key;
}

void addModules(std::string const& directory, std::multimap<std::string, std::string>& modules) {
    std::error_code error;
    std::vector<std::string> paths;
    for (fs::recursive_directory_iterator
             entry(directory, fs::directory_options::skip_permission_denied, error),
         end;
         !error && entry != end; entry.increment(error))
        paths.push_back(entry->path().string());
    std::sort(paths.begin(), paths.end());
    for (std::string const& path : paths) {
        std::string key = moduleKey(fs::path(path).filename().string());
        if (!key.empty())
            modules.emplace(std::move(key), path);
    }
}

} // namespace

KernelPlaces::KernelPlaces(PlaceOptions const& options, std::string const& release)
    : m_roots{""}
    , m_trees(options)
    , m_debugDirs(options.debug_dirs)
    , m_release(isSafeBareName(release) ? release : "") {
    for (std::string const& root : {options.sysroot, options.symfs})
        if (!root.empty())
            m_roots.push_back(root);
}

void KernelPlaces::add(std::string const& directory, std::initializer_list<std::string_view> parts,
                       std::vector<Candidate>& result) const {
    std::string resolved = m_trees.resolve(join_path(directory, parts));
    if (!resolved.empty())
        result.push_back({std::move(resolved), Place::kernel_tree});
}

/// A tree that keeps them below /usr mostly has a link from /lib, but not where packages were only
/// unpacked. With the link they are one directory.
std::vector<std::string> KernelPlaces::moduleDirs(std::string const& root) const {
    std::vector<std::string> result{join_path(root, {"/lib/modules", m_release})};
    std::string inUsr = join_path(root, {"/usr/lib/modules", m_release});
    std::error_code error;
    std::string const resolved = m_trees.resolve(inUsr);
    if (fs::is_directory(resolved, error) &&
        !fs::equivalent(resolved, m_trees.resolve(result.front()), error))
        result.push_back(std::move(inUsr));
    return result;
}

std::vector<Candidate> KernelPlaces::image() const {
    std::vector<Candidate> result;
    if (m_release.empty())
        return result;
    std::string const boot = "/boot/vmlinux-" + m_release;
    auto const addImages = [&](std::string const& root) {
        for (std::string const& modules : moduleDirs(root))
            add(modules, {c_image}, result);
    };
    for (std::string const& root : m_roots) {
        for (std::string const& dir : m_debugDirs) {
            add(root, {dir, boot}, result);
            addImages(join_path(root, dir));
        }
        addImages(join_path(root, "/usr/lib/debug"));
        add(root, {boot}, result);
        addImages(root);
        for (std::string const& modules : moduleDirs(root))
            add(modules, {"build", c_image}, result);
    }
    return result;
}

std::vector<Candidate> KernelPlaces::packedImage() const {
    std::vector<Candidate> result;
    if (m_release.empty())
        return result;
    for (std::string const& root : m_roots) {
        add(root, {"/boot", LK_2_13::VMLINUZ + ("-" + m_release)}, result);
        for (std::string const& modules : moduleDirs(root))
            add(modules, {LK_2_13::VMLINUZ}, result);
    }
    return result;
}

std::vector<Candidate> KernelPlaces::vdso() const {
    std::vector<Candidate> result;
    if (m_release.empty())
        return result;
    for (std::string const& root : m_roots)
        for (std::string const& modules : moduleDirs(root))
            for (char const* const file : {"vdso64.so", "vdso32.so", "vdsox32.so"})
                add(modules, {"vdso", file}, result);
    return result;
}

void KernelPlaces::listModules(std::string const& root) {
    for (std::string const& modules : moduleDirs(root))
        for (char const* const part : {"kernel", "updates", "extra"})
            addModules(m_trees.resolve(join_path(modules, part)), *m_modules);
}

std::vector<Candidate> KernelPlaces::module(std::string const& name) {
    std::vector<Candidate> result;
    std::string const key = kernelModuleKey(name);
    if (m_release.empty() || key.empty())
        return result;
    toolbelt2::mutex_guard_t const guard(m_mutex);
    if (!m_modules) {
        m_modules.emplace();
        for (std::string const& root : m_roots)
            listModules(root);
        for (std::string const& root : m_roots)
            for (std::string const& dir : m_debugDirs)
                listModules(join_path(root, dir));
    }
    auto const [first, last] = m_modules->equal_range(key);
    for (auto module = first; module != last; ++module)
        add(module->second, {}, result);
    return result;
}

std::string kernelModuleKey(std::string const& recorded) {
    return moduleKey(LK_2_13::utils::getFileNameOnly(kernelModuleFileName(recorded).c_str()));
}

std::string kernelModuleFileName(std::string const& name) {
    bool const bracketed = name.size() > 2 && name.front() == '[' && name.back() == ']';
    return bracketed ? name.substr(1, name.size() - 2) + std::string(c_suffix) : name;
}

} // namespace lokata::profile
