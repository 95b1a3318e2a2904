#pragma once

/// What every reader of a recorded profile gives: the modules that ran, as the recording names
/// them. All of it is plain data without ties to the input; names are bytes from a foreign file
/// and must pass isSafeName() before they serve as a path and displayName() before they are shown.

#include <lokata/profile/boxed.h>
#include <lokata/profile/build_id.h>
#include <lokata/profile/words.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lokata::profile {

/// What a module is, judged by its name and by the processor mode it was recorded in.
enum class ModuleKind {
    file,          ///< An ordinary file of user space.
    deleted_file,  ///< A file that was removed or replaced while it was mapped.
    kernel,        ///< The kernel image.
    kernel_module, ///< A loadable module, as "[name]" or as the path of a .ko file.
    vdso,          ///< Code that the kernel maps into every process; no file exists.
    vsyscall,      ///< The fixed legacy page; no file exists.
    anonymous,     ///< Memory without a file: heap, stack, shared memory, jitted code.
    bpf,           ///< A program loaded into the kernel; no file exists.
    guest_file,    ///< User space of a virtual machine.
    guest_kernel,  ///< The kernel of a virtual machine.
    guest_module,  ///< A loadable module of a virtual machine.
};

constexpr Word<ModuleKind> c_moduleKinds[]{
    {ModuleKind::file, "file"},
    {ModuleKind::deleted_file, "deleted-file"},
    {ModuleKind::kernel, "kernel"},
    {ModuleKind::kernel_module, "kernel-module"},
    {ModuleKind::vdso, "vdso"},
    {ModuleKind::vsyscall, "vsyscall"},
    {ModuleKind::anonymous, "anonymous"},
    {ModuleKind::bpf, "bpf"},
    {ModuleKind::guest_file, "guest-file"},
    {ModuleKind::guest_kernel, "guest-kernel"},
    {ModuleKind::guest_module, "guest-module"},
};

/// A file as the kernel tells it beside a mapping of it: /proc/PID/maps, PERF_RECORD_MMAP2. Some
/// file systems show another device there than stat does. The numbers prove a file only where the
/// mapping still holds it, as inodes are used again and other machines have the same ones.
struct MappedFile {
    std::uint32_t device_major = 0;
    std::uint32_t device_minor = 0;
    std::uint64_t inode = 0;
};

struct Module {
    std::string name; ///< As recorded, in bytes.
    BuildId build_id; ///< Empty when none is recorded.
    /// Where no more of the build-id is recorded.
    std::optional<DebugId> debug_id{};
    ModuleKind kind = ModuleKind::file;
    /// A process (for guests: the host's process of the machine) that mapped it; 0 when unknown,
    /// and for memory without a file in which several processes were sampled.
    std::uint32_t pid = 0;
    /// Samples taken while this module's code ran.
    std::uint64_t samples = 0;
    /// Samples in whose call chain the module appears above the sampled instruction.
    std::uint64_t caller_samples = 0;
    /// What these samples stand for, for each of Profile::events; empty for none.
    Boxed<std::vector<std::uint64_t>> periods{};
    /// Indices into Profile::source_files, ascending.
    std::vector<std::uint32_t> source_files;
    /// Inode of the mount namespace that the name belongs to, when it is another than the
    /// recording machine's own; else 0.
    std::uint64_t mount_namespace = 0;
    /// Of the first mapping of it; empty when none is recorded.
    std::optional<MappedFile> mapped_file{};
};

/// A part of the input that could not be read.
struct ReadError {
    /// In bytes from the start of the input; in a packed one, of what was unpacked, but for an
    /// error of the packing itself.
    std::uint64_t offset = 0;
    std::string message; ///< English, printable, without the offset.
};

/// What samples were taken of, such as cycles. Each sample stands for a period: how often it had
/// happened since the one before.
struct RecordedEvent {
    std::string name; ///< As the recorder calls it, in bytes; empty if it does not tell.
    std::uint64_t samples = 0;
    std::uint64_t period = 0;              ///< Of all its samples.
    std::uint64_t unattributed_period = 0; ///< Of those that fall into no recorded mapping.
};

struct Profile {
    /// The word of its format, one of formats(); empty when the input could not be opened or is of
    /// no known kind.
    std::string format;
    std::vector<Module> modules; ///< In order of first appearance.
    std::vector<std::string> source_files;
    /// Empty when everything was read; what stands in the other fields holds regardless.
    std::vector<ReadError> errors;
    bool has_samples = false;
    std::uint64_t unattributed_samples = 0; ///< Samples that fall into no recorded mapping.
    /// Those that samples were taken of; empty where the format tells no periods.
    std::vector<RecordedEvent> events;

    /// The process of this machine whose own list of mappings was read, and which may run on; 0
    /// for every other input, a copy of such a list included.
    std::uint32_t live_process = 0;

    std::string host_name;
    std::string kernel_release; ///< As uname -r gave it on the recording machine.
    std::string architecture;   ///< As uname -m gave it on the recording machine.
};

/// True when the name may be tried as a path: not empty, at most 4096 bytes, without a control
/// byte and without a ".." component.
LOKATA_PROFILE_EXPORT bool isSafeName(std::string_view name);

/// The hexadecimal digits of the build-id, as far as they are recorded; empty if none are.
LOKATA_PROFILE_EXPORT std::string buildIdDigits(Module const& module);

/// The name for a terminal or a page: backslashes, control characters, bytes that are not UTF-8,
/// and characters that change the direction of writing come as \xNN, all else unchanged.
LOKATA_PROFILE_EXPORT std::string displayName(std::string_view name);

} // namespace lokata::profile
