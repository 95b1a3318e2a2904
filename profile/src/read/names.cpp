#include "read/names.h"

#include <toolbelt2/hex.h>
#include <toolbelt2/text.h>
#include <unpack/packed_file.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <initializer_list>

namespace lokata::profile {

namespace {

using toolbelt2::ends_with;
using toolbelt2::starts_with;

constexpr std::size_t c_maxPath = 4096;
constexpr std::string_view c_deleted = " (deleted)";

bool startsWithAny(std::string_view text, std::initializer_list<std::string_view> prefixes) {
    return std::any_of(
        prefixes.begin(), prefixes.end(),
        [&](std::string_view prefix) { return starts_with(text, prefix); });
}

bool isModuleFile(std::string_view name) {
    return ends_with(unpack::withoutPackedEnding(name), ".ko");
}

/// Names that the kernel gives to memory without a file of its own: fs/proc/task_mmu.c,
/// mm/shmem.c, ipc/shm.c, fs/anon_inodes.c, and what perf writes for nameless mappings.
bool isAnonymous(std::string_view name) {
    return name.empty() || withoutDeletedMark(name) == "/dev/zero" ||
           startsWithAny(name, {"//anon", "[heap]", "[stack", "[anon", "anon_inode:", "/SYSV",
                                "/memfd:", "/anon_hugepage", "[uprobes]", "[vectors]", "[sigpage]",
                                "[vvar", "[unknown]", "socket:["});
}

/// One character of UTF-8 at the start of `text`, as its length; 0 when it is none or is one
/// that may not reach a terminal.
std::size_t printableLength(std::string_view text) {
    auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    auto const lead = byte(0);
    if (lead < 0x80)
        return lead < 0x20 || lead == 0x7f || lead == '\\' ? 0 : 1;
    std::size_t const length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || text.size() < length)
        return 0;
    std::uint32_t code = lead & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80)
            return 0;
        code = code << 6 | (byte(i) & 0x3fU);
    }
    constexpr std::array<std::uint32_t, 5> c_smallest{0, 0, 0x80, 0x800, 0x10000};
    bool const encodable =
        code >= c_smallest[length] && code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
    bool const control = code < 0xa0 || code == 0x061c || (code >= 0x200e && code <= 0x200f) ||
                         (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
    return encodable && !control ? length : 0;
}

} // namespace

bool hasControlByte(std::string_view name) {
    return std::any_of(
        name.begin(), name.end(),
        [](char c) {
            auto const byte = static_cast<unsigned char>(c);
            return byte < 0x20 || byte == 0x7f;
        });
}

bool isSafeName(std::string_view name) {
    if (name.empty() || name.size() > c_maxPath || hasControlByte(name))
        return false;
    for (std::size_t at = name.find(".."); at != std::string_view::npos;
         at = name.find("..", at + 1)) {
        bool const starts = at == 0 || name[at - 1] == '/';
        bool const ends = at + 2 == name.size() || name[at + 2] == '/';
        if (starts && ends)
            return false;
    }
    return true;
}

bool isSafeBareName(std::string_view name) {
    return isSafeName(name) && name != "." && name.find('/') == std::string_view::npos;
}

std::string buildIdDigits(Module const& module) {
    return module.debug_id ? toHex(*module.debug_id) : toHex(module.build_id);
}

std::string displayName(std::string_view name) {
    std::string shown;
    shown.reserve(name.size());
    while (!name.empty()) {
        if (auto const length = printableLength(name); length > 0) {
            shown.append(name.substr(0, length));
            name.remove_prefix(length);
        } else {
            shown += "\\x" + toolbelt2::to_hex(name.substr(0, 1));
            name.remove_prefix(1);
        }
    }
    return shown;
}

std::string_view withoutDeletedMark(std::string_view name) {
    return ends_with(name, c_deleted) ? name.substr(0, name.size() - c_deleted.size()) : name;
}

std::string deviceAndInode(MappedFile const& file) {
    char device[24];
    std::snprintf(device, sizeof device, "%02" PRIx32 ":%02" PRIx32 " ", file.device_major,
                  file.device_minor);
    return device + std::to_string(file.inode);
}

ModuleKind classifyName(std::string_view name) {
    if (startsWithAny(name, {"[vdso", "linux-vdso", "linux-gate"}))
        return ModuleKind::vdso;
    if (starts_with(name, "[vsyscall"))
        return ModuleKind::vsyscall;
    if (isAnonymous(name))
        return ModuleKind::anonymous;
    if (starts_with(name, "[guest.kernel"))
        return ModuleKind::guest_kernel;
    if (starts_with(name, "[kernel") || name == "kernel")
        return ModuleKind::kernel;
    if (starts_with(name, "bpf_prog_"))
        return ModuleKind::bpf;
    if (isModuleFile(name) || (name.front() == '[' && name.back() == ']' && name != "[exe]"))
        return ModuleKind::kernel_module;
    return ends_with(name, c_deleted) ? ModuleKind::deleted_file : ModuleKind::file;
}

bool isGuest(ModuleKind kind) {
    switch (kind) {
    case ModuleKind::guest_file:
    case ModuleKind::guest_kernel:
    case ModuleKind::guest_module:
        return true;
    default:
        return false;
    }
}

bool hasFile(ModuleKind kind) {
    switch (kind) {
    case ModuleKind::vdso:
    case ModuleKind::vsyscall:
    case ModuleKind::anonymous:
    case ModuleKind::bpf:
        return false;
    default:
        return true;
    }
}

} // namespace lokata::profile
