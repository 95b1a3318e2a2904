#pragma once

/// Lists of names that the kernel, perf and the compilers of running programs write as text, for
/// code that no ELF file here gives names for.

#include <lokata/profile/resolution.h>

#include <string>

namespace lokata::profile {

/// Callable from any thread.
class NameLists {
public:
    /// `perfCache` as in `PlaceOptions`. `isThisMachine`: the processes of the recording may have
    /// run here. `root` is put before the paths of the running system.
    NameLists(std::string perfCache, bool isThisMachine, std::string root = {})
        : m_perfCache(std::move(perfCache))
        , m_isThisMachine(isThisMachine)
        , m_root(std::move(root)) {}

    /// For the kernel and its modules /proc/kallsyms where the running kernel, or the module in it,
    /// has the recorded build-id and lets its addresses be seen (kernel.kptr_restrict, see
    /// proc(5)), else for the kernel the kallsyms that perf keeps beside that, which nothing in
    /// them proves. For memory without a file /tmp/perf-PID.map of the recorded process, of which
    /// only one owned by root or by this user is believed, but proves nothing: processes come and
    /// go. The format of the latter: tools/perf/Documentation/jit-interface.txt of Linux.
    ///
    /// Adds to `symbols` what was tried. False if it gives no names; the file stays as it is then.
    /// The confidence of what is not proven is up to the caller.
    bool find(Module const& module, FileResolution& symbols) const;

private:
    bool findKernelNames(Module const& module, FileResolution& symbols) const;
    bool findRunningNames(Module const& module, FileResolution& symbols) const;
    bool findCompiledNames(Module const& module, FileResolution& symbols) const;
    BuildId runningBuildId(Module const& module) const;

    std::string m_perfCache;
    bool m_isThisMachine;
    std::string m_root;
};

} // namespace lokata::profile
