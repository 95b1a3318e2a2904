#pragma once

/// From a profile to the files of its modules, each proven or with the reasons why none is there.

#include "profile/kernel_places.h"
#include "profile/module_search.h"
#include "profile/resolution.h"

#include <cstddef>
#include <functional>
#include <string>

namespace lokata::profile {

/// Told after each module or source file how far the work has come.
using Progress = std::function<void(std::size_t done, std::size_t total)>;

/// Resolves the profiles of one recording machine, on one thread. Modules are searched in the order
/// of the profile, equal ones once, so that the same input gives the same answer.
///
/// A name of a virtual machine or of another mount namespace says nothing about the files here:
/// such a module is searched only if its build-id was recorded. A removed file is searched under
/// the name that it had.
class Resolver {
public:
    /// `environment` may be null. The kernel release of its environment information leads to the
    /// kernel and its modules. With `useIndex` search directories are read once for all searches
    /// over `support`, which must outlive the resolver.
    Resolver(LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> const& environment, SearchSupport& support,
             bool useIndex = true);

    /// `input` is the name of the input as the result shall tell it.
    ProfileResolution resolve(Profile profile, std::string input, Progress const& progress = {});

    /// Adds the source files that the resolved modules and the profile itself name.
    void findSources(ProfileResolution& resolution, Progress const& progress = {});

private:
    ModuleResolution resolve(Module const& module);
    FileResolution take(SearchOutcome outcome, Identity const& expected);
    std::vector<Candidate> hints(Module const& module, std::string const& name);

    SearchSupport& m_support;
    ModuleSearch m_search;
    KernelPlaces m_kernel;
    std::vector<PathSubstitution> m_learned;
};

/// The name under which the library is asked for the binary of a module: without marks, with
/// "vmlinux" for a kernel and "ext4.ko" for "[ext4]".
std::string searchedName(Module const& module);

} // namespace lokata::profile
