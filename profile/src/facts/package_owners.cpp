#include "facts/package_owners.h"

#include "facts/foreign_file.h"

#include <toolbelt2/path.h>
#include <toolbelt2/text.h>

#include <algorithm>
#include <filesystem>
#include <functional>

namespace lokata::profile {

namespace fs = std::filesystem;

namespace {

/// In bytes, of all lists; those of a whole distribution take less.
constexpr std::uint64_t c_maxLists = 1U << 30;
constexpr std::uint64_t c_maxList = 1U << 26;

/// The lists say /bin/ls or /usr/bin/ls, whatever directory is a link to the other.
std::uint64_t keyOf(std::string_view path) {
    constexpr std::string_view c_usr = "/usr";
    if (toolbelt2::starts_with(path, c_usr))
        for (std::string_view const merged :
             {"/bin/", "/sbin/", "/lib/", "/lib32/", "/lib64/", "/libx32/"})
            if (toolbelt2::starts_with(path.substr(c_usr.size()), merged))
                return std::hash<std::string_view>()(path.substr(c_usr.size()));
    return std::hash<std::string_view>()(path);
}

/// Where packages put nothing, by the Filesystem Hierarchy Standard and section 9.1.2 of the Debian
/// Policy Manual; the lists need not be read for what lies there.
bool isUnpackaged(std::string_view directory) {
    for (std::string_view const top : {"/home", "/root", "/tmp", "/usr/local", "/var/tmp"})
        if (toolbelt2::starts_with(directory, top) &&
            (directory.size() == top.size() || directory[top.size()] == '/'))
            return true;
    return false;
}

std::vector<std::string> listFiles(std::string const& directory) {
    std::vector<std::string> result;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().extension() == ".list")
            result.push_back(entry->path().string());
    std::sort(result.begin(), result.end());
    return result;
}

/// "libc6" of ".../libc6:amd64.list".
std::string packageOf(std::string_view listFile) {
    std::string_view const name = toolbelt2::last_component(listFile);
    return std::string(name.substr(0, std::min(name.find(':'), name.rfind('.'))));
}

} // namespace

void PackageOwners::readInto(Lists& lists) const {
    std::uint64_t total = 0;
    std::string text;
    for (std::string const& path : listFiles(m_lists)) {
        ForeignFile const file(path);
        if (!file.error().empty() || file.size() > c_maxList || file.size() > c_maxLists - total)
            continue;
        total += file.size();
        auto const index = static_cast<std::uint32_t>(lists.packages.size());
        lists.packages.push_back(packageOf(path));
        file.read(0, file.size(), text);
        std::string_view left = text;
        for (std::size_t end = left.find('\n'); end != std::string_view::npos;
             end = left.find('\n')) {
            lists.files.emplace_back(keyOf(left.substr(0, end)), index);
            left.remove_prefix(end + 1);
        }
    }
    std::sort(lists.files.begin(), lists.files.end());
}

PackageOwners::Lists const& PackageOwners::lists() {
    if (!m_read)
        readInto(m_read.emplace());
    return *m_read;
}

std::vector<std::string> PackageOwners::namesInRoot(std::string const& directory) const {
    std::error_code error;
    std::vector<std::string> result;
    std::string const root(toolbelt2::without_slashes_at_end(m_root));
    if (toolbelt2::starts_with(directory, root + "/"))
        result.push_back(directory.substr(root.size()));
    std::string const realRoot = root.empty() ? "" : fs::canonical(root, error).string();
    std::string const real = fs::canonical(directory, error).string();
    if (!error && toolbelt2::starts_with(real, realRoot + "/"))
        result.push_back(real.substr(realRoot.size()));
    return result;
}

/// Many files lie in few directories, whose links are followed once.
std::vector<std::string> const& PackageOwners::knownNames(std::string const& directory) {
    auto const known = m_directories.find(directory);
    return known != m_directories.end()
               ? known->second
               : m_directories.emplace(directory, namesInRoot(directory)).first->second;
}

std::string PackageOwners::ownerOf(std::string const& path) {
    toolbelt2::mutex_guard_t const guard(m_mutex);
    for (std::string const& directory : knownNames(toolbelt2::parent_of(path))) {
        if (isUnpackaged(directory))
            continue;
        Lists const& all = lists();
        std::uint64_t const key =
            keyOf(toolbelt2::join_path(directory, toolbelt2::last_component(path)));
        auto const found =
            std::lower_bound(all.files.begin(), all.files.end(), std::pair(key, std::uint32_t{0}));
        if (found != all.files.end() && found->first == key)
            return all.packages[found->second];
    }
    return {};
}

/// Most are made by debhelper and called so; kernels and the C library keep an older way.
std::string PackageOwners::debugPackageOf(std::string const& package) {
    constexpr std::string_view c_unsigned = "-unsigned";
    constexpr std::string_view c_kernel = "linux-image-";
    std::string older = package;
    if (toolbelt2::starts_with(package, c_kernel) && toolbelt2::ends_with(package, c_unsigned))
        older.resize(older.size() - c_unsigned.size());
    older += "-dbg";
    if (toolbelt2::starts_with(package, c_kernel) || package == "libc6")
        return older;
    toolbelt2::mutex_guard_t const guard(m_mutex);
    std::vector<std::string> const& known = lists().packages;
    return std::find(known.begin(), known.end(), older) == known.end() ? package + "-dbgsym"
                                                                       : older;
}

} // namespace lokata::profile
