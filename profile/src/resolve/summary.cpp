#include <lokata/profile/resolution.h>

#include <algorithm>

namespace lokata::profile {

namespace {

/// How much a rejection tells of why a search failed. The library rejects a file that is not there
/// before any validator sees it, so such a candidate carries no identity.
int tellingRank(JudgedCandidate const& candidate) {
    if (!candidate.identity.expected.empty() && !candidate.identity.actual.empty())
        return 3;
    if (candidate.identity.kind != IdentityKind::none)
        return 2;
    return candidate.message.empty() ? 0 : 1;
}

char const* notAFileReason(ModuleKind kind) {
    switch (kind) {
    case ModuleKind::vdso:
    case ModuleKind::vsyscall:
        return "Code that the kernel maps into every process; no file exists.";
    case ModuleKind::bpf:
        return "A program loaded into the kernel; no file exists.";
    default:
        return "Memory that no file stands behind.";
    }
}

char const* unsupportedReason(Module const& module) {
    switch (module.kind) {
    case ModuleKind::guest_file:
    case ModuleKind::guest_kernel:
    case ModuleKind::guest_module:
        return "The name belongs to a virtual machine.";
    default:
        return module.mount_namespace != 0
                   ? "The name belongs to another mount namespace, and no build-id was recorded."
                   : "The name cannot be looked up on this machine.";
    }
}

} // namespace

StatusTotal totalOf(ProfileResolution const& resolution, ModuleStatus status) {
    StatusTotal total;
    for (ModuleResolution const& module : resolution.modules) {
        if (module.status == status) {
            ++total.modules;
            total.samples += module.module.samples;
        }
    }
    return total;
}

JudgedCandidate const* mostTellingRejection(FileResolution const& file) {
    auto const best = std::max_element(
        file.rejected.begin(), file.rejected.end(),
        [](auto const& left, auto const& right) { return tellingRank(left) < tellingRank(right); });
    return best == file.rejected.end() ? nullptr : &*best;
}

std::string missingReason(FileResolution const& file) {
    if (file.found())
        return {};
    JudgedCandidate const* const rejection = mostTellingRejection(file);
    if (rejection == nullptr)
        return "No file of this name was met.";
    if (rejection->message.empty())
        return displayName(rejection->path) + " was refused.";
    bool const named = rejection->message.find(rejection->path) != std::string::npos;
    return displayName(named ? rejection->message : rejection->path + ": " + rejection->message);
}

std::string statusReason(ModuleResolution const& module) {
    switch (module.status) {
    case ModuleStatus::resolved:
        return {};
    case ModuleStatus::unproven:
        return "The file was accepted, but nothing recorded could prove it.";
    case ModuleStatus::missing:
        return module.binary ? missingReason(*module.binary) : "The name is not safe to look up.";
    case ModuleStatus::not_a_file:
        return notAFileReason(module.module.kind);
    case ModuleStatus::unsupported:
        return unsupportedReason(module.module);
    }
    return {};
}

} // namespace lokata::profile
