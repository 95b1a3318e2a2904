#pragma once

/// What every reader of a recorded profile gives: the modules that ran, as the recording names
/// them. All of it is plain data without ties to the input; names are bytes from a foreign file
/// and must pass isSafeName() before they serve as a path and displayName() before they are shown.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lokata::profile {

/// The kinds of input that can be read.
enum class Format { perf_data, perf_buildid_list, eu_unstrip, maps, path_list, core, pprof };

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

struct Module {
    std::string name; ///< As recorded, in bytes.
    /// The GNU build-id, 1 to 64 bytes; empty when none is recorded.
    std::vector<std::uint8_t> build_id;
    ModuleKind kind = ModuleKind::file;
    /// Samples taken while this module's code ran.
    std::uint64_t samples = 0;
    /// Samples in whose call chain the module appears above the sampled instruction.
    std::uint64_t caller_samples = 0;
    /// Indices into Profile::source_files, ascending.
    std::vector<std::uint32_t> source_files;
    /// Inode of the mount namespace that the name belongs to, when it is another than the
    /// recording machine's own; else 0.
    std::uint64_t mount_namespace = 0;
    /// A process (for guests: the host's process of the machine) that mapped it; 0 when unknown.
    std::uint32_t pid = 0;
};

/// A part of the input that could not be read.
struct ReadError {
    std::uint64_t offset = 0; ///< In bytes from the start of the input.
    std::string message;      ///< English, printable, without the offset.
};

struct Profile {
    /// Empty when the input could not be opened or is of no known kind.
    std::optional<Format> format;
    std::vector<Module> modules; ///< In order of first appearance.
    std::vector<std::string> source_files;
    /// Empty when everything was read; what stands in the other fields holds regardless.
    std::vector<ReadError> errors;
    bool has_samples = false;
    std::uint64_t unattributed_samples = 0; ///< Samples that fall into no recorded mapping.

    std::string host_name;
    std::string kernel_release; ///< As uname -r gave it on the recording machine.
    std::string architecture;   ///< As uname -m gave it on the recording machine.
};

/// The word for a format on a command line: "perf", "buildid-list", "unstrip", "maps", "paths",
/// "core" or "pprof".
char const* formatName(Format format);

/// The format of that word; empty for an unknown one.
std::optional<Format> formatFromName(std::string const& name);

/// Lower-case word for a kind, as "kernel-module".
char const* kindName(ModuleKind kind);

} // namespace lokata::profile
