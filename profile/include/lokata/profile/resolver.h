#pragma once

/// From a profile to the files of its modules, each proven or with the reasons why none is there.

#include <lokata/profile/places.h>
#include <lokata/profile/resolution.h>

#include <lokata2/search_env.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace lokata::profile {

/// Told on the thread of the call, after each module or source file, how far the work has come;
/// with several threads, after some of them. False ends the run: the result then holds what was
/// done, up to the first that was not, and is marked `cancelled`. What it throws passes through the
/// resolver, which stays usable.
using Progress = std::function<bool(std::size_t done, std::size_t total)>;

/// Resolves profiles. Modules are searched in the order of the profile, equal ones once, so that
/// the same input gives the same answer.
///
/// A name of a virtual machine or of another mount namespace says nothing about the files here:
/// such a module is searched only if its build-id was recorded. A removed file is searched under
/// the name that it had.
///
/// A resolver keeps what its searches share, and gives it to all profiles that it resolves: facts
/// of files already read, and the content of search directories, each read on first need, once.
/// Later changes to a search directory are not seen; make a new resolver for them. The memory grows
/// with the files and directories met, not with the profiles.
///
/// One call at a time; different resolvers may work on different threads. Beside what `progress`,
/// the callbacks of the environment and their validators throw, functions throw std::bad_alloc
/// only, and std::runtime_error where a policy of the machine forbids the MD5 by which the kernel
/// cache knows a packed kernel.
class LOKATA_PROFILE_EXPORT Resolver {
public:
    /// `environment` gives search directories, archives, callbacks and steps of every search; the
    /// resolver holds a reference. Null stands for an empty one. The kernel release of its
    /// environment information leads to the kernel and its modules, or else that of the profile.
    explicit Resolver(LK_2_13::ObjectPtr<LK_2_13::ISearchEnv> const& environment = nullptr,
                      PlaceOptions places = {});
    ~Resolver();
    Resolver(Resolver&& other) noexcept;
    Resolver& operator=(Resolver&& other) noexcept;

    /// How many threads search for the files of one profile; 1 at first. The answers are the same
    /// for any number, but for the times that they took. With more than one, the callbacks of the
    /// environment and their validators are called on several threads at once.
    void setThreads(std::size_t threads);

    /// `input` is the name of the input as the result shall tell it.
    ProfileResolution resolve(Profile profile, std::string input, Progress const& progress = {});

    /// Looks for the source files that the resolved modules and the profile itself name. What an
    /// earlier call found is replaced.
    void findSources(ProfileResolution& resolution, Progress const& progress = {});

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace lokata::profile
