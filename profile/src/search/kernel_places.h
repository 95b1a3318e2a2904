#pragma once

/// Where a Linux system keeps the image and the loadable modules of its kernel.

#include "search/copied_trees.h"
#include "search/file_places.h"

#include <toolbelt2/mutex.h>

#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// Candidates for the kernel of one release, below the root directory and below the copied trees of
/// the options. The directories of modules are read once, on first need. Callable from any thread.
class KernelPlaces {
public:
    /// `release` as uname -r gives it. It comes from a foreign file: without one that may stand in
    /// a path there are no candidates.
    KernelPlaces(PlaceOptions const& options, std::string const& release);

    /// For the image with its symbols, which serves as binary and as symbol file.
    std::vector<Candidate> image() const;
    /// For the packed image that the machine started from.
    std::vector<Candidate> packedImage() const;
    /// For the code that the kernel maps into every process.
    std::vector<Candidate> vdso() const;
    /// `name` as "ext4.ko" or as a path that ends so. A module is known by both spellings of its
    /// name, with "-" and with "_", and may be packed. Separate debug files come last.
    std::vector<Candidate> module(std::string const& name);

private:
    void add(std::string const& directory, std::initializer_list<std::string_view> parts,
             std::vector<Candidate>& result) const;
    std::vector<std::string> moduleDirs(std::string const& root) const;
    void listModules(std::string const& root) TOOLBELT2_REQUIRES(m_mutex);

    std::vector<std::string> m_roots;
    CopiedTrees m_trees;
    std::vector<std::string> m_debugDirs;
    std::string m_release;

    toolbelt2::mutex_t m_mutex;
    std::optional<std::multimap<std::string, std::string>> m_modules TOOLBELT2_GUARDED_BY(m_mutex);
};

/// What tells a loadable module from others, in the spelling of /proc/modules: "[dm-mod]",
/// "dm_mod.ko" and a path of "dm-mod.ko.xz" are one. Empty for another name.
std::string kernelModuleKey(std::string const& recorded);

/// The name of the file of a loadable module that was recorded as "[ext4]" or as a path.
std::string kernelModuleFileName(std::string const& name);

} // namespace lokata::profile
