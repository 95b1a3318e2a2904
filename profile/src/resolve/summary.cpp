#include <lokata/profile/resolution.h>

#include "read/names.h"
#include "read/reasons.h"

#include <algorithm>
#include <numeric>

namespace lokata::profile {

namespace {

/// How much a rejection tells of why a search failed. The library rejects a file that is not there
/// before any validator sees it, so such a candidate carries no identity.
int tellingRank(JudgedCandidate const& candidate) {
    if (!candidate.identity.expected.empty() && !candidate.identity.actual.empty())
        return 3;
    if (candidate.identity.kind != IdentityKind::none || candidate.result == LK_2_13::vrUndecided)
        return 2;
    return candidate.message.empty() ? 0 : 1;
}

ReasonKey notAFileReason(ModuleKind kind) {
    switch (kind) {
    case ModuleKind::vdso:
    case ModuleKind::vsyscall:
        return ReasonKey::kernel_code;
    case ModuleKind::bpf:
        return ReasonKey::kernel_program;
    default:
        return ReasonKey::no_file_behind;
    }
}

template <class Condition>
ModuleTotal totalOf(ProfileResolution const& resolution, Condition const& condition) {
    ModuleTotal total;
    for (ModuleResolution const& module : resolution.modules)
        if (condition(module)) {
            ++total.modules;
            total.samples += module.module.samples;
        }
    return total;
}

ReasonKey unsupportedReason(Module const& module) {
    return isGuest(module.kind) ? ReasonKey::guest_name : ReasonKey::mount_namespace_name;
}

} // namespace

ModuleTotal totalOf(ProfileResolution const& resolution, ModuleStatus status) {
    return totalOf(
        resolution, [status](ModuleResolution const& each) { return each.status == status; });
}

ModuleTotal totalOf(ProfileResolution const& resolution, SymbolLevel level) {
    return totalOf(
        resolution, [level](ModuleResolution const& each) { return each.level == level; });
}

std::size_t countShares(Profile const& profile) {
    return std::max<std::size_t>(profile.events.size(), 1);
}

std::uint64_t weightOf(Module const& module, Profile const& profile, std::size_t index) {
    if (profile.events.empty())
        return module.samples;
    return module.periods ? (*module.periods)[index] : 0;
}

std::uint64_t wholeWeight(ProfileResolution const& resolution, std::size_t index) {
    Profile const& profile = resolution.profile;
    if (!profile.events.empty())
        return profile.events[index].period;
    return std::accumulate(
        resolution.modules.begin(), resolution.modules.end(), profile.unattributed_samples,
        [](std::uint64_t sum, ModuleResolution const& each) { return sum + each.module.samples; });
}

bool isLevelProven(ModuleResolution const& module) {
    return module.level != SymbolLevel::none &&
           module.symbols->confidence == LK_2_13::cfValidated &&
           module.symbols->identity.kind != IdentityKind::none &&
           (module.status == ModuleStatus::resolved || !module.module.build_id.empty());
}

JudgedCandidate const* mostTellingRejection(FileResolution const& file) {
    auto const best = std::max_element(
        file.rejected.begin(), file.rejected.end(),
        [](auto const& left, auto const& right) { return tellingRank(left) < tellingRank(right); });
    return best == file.rejected.end() ? nullptr : &*best;
}

std::string rejectionReason(JudgedCandidate const& rejection) {
    if (rejection.message.empty())
        return displayName(reasonText(ReasonKey::rejected, {rejection.path}));
    bool const named = rejection.message.find(rejection.path) != std::string::npos;
    return displayName(named ? rejection.message : rejection.path + ": " + rejection.message);
}

std::string missingReason(FileResolution const& file) {
    if (file.found())
        return {};
    JudgedCandidate const* const rejection = mostTellingRejection(file);
    return rejection == nullptr ? reasonText(ReasonKey::no_such_file) : rejectionReason(*rejection);
}

namespace {

/// Where something of another build was met instead of debug information.
std::string foreignSymbolsReason(FileResolution const& symbols) {
    auto const foreign = std::find_if(
        symbols.rejected.begin(), symbols.rejected.end(), [](JudgedCandidate const& each) {
            return tellingRank(each) == 3 && each.identity.expected != each.identity.actual;
        });
    return foreign == symbols.rejected.end() ? "" : rejectionReason(*foreign);
}

/// Why there are no names, or none but exported ones.
std::string tableReason(SymbolLevel level, FileResolution const& symbols) {
    if (level == SymbolLevel::exports)
        return reasonText(ReasonKey::only_exports, {displayName(symbols.path)});
    if (level == SymbolLevel::none)
        return symbols.found() ? reasonText(ReasonKey::no_names, {displayName(symbols.path)})
                               : missingReason(symbols);
    return {};
}

std::string splitReason(SplitResolution const& split) {
    if (split.found_units == split.units)
        return {};
    auto const first = std::find_if(split.files.begin(), split.files.end(),
                                    [](SplitFile const& each) { return !each.file.found(); });
    bool const isNamed = first != split.files.end();
    return reasonText(ReasonKey::split_units_missing,
                      {std::to_string(split.units - split.found_units), std::to_string(split.units),
                       isNamed ? displayName(first->name) : "?"}) +
           " " + (isNamed ? missingReason(first->file) : reasonText(ReasonKey::unsafe_name));
}

} // namespace

std::string symbolsReason(ModuleResolution const& module) {
    std::string text;
    auto const add = [&](std::string const& sentence) {
        text += (text.empty() || sentence.empty() ? "" : " ") + sentence;
    };
    bool const isTable = module.level == SymbolLevel::names || module.level == SymbolLevel::exports;
    bool const isBinaryFound = module.binary && module.binary->found();
    if (isBinaryFound && module.symbols && (isTable || !module.symbols->found()))
        add(foreignSymbolsReason(*module.symbols));
    if (isBinaryFound && module.symbols && text.empty())
        add(tableReason(module.level, *module.symbols));
    if (module.supplementary && !module.supplementary->found())
        add(reasonText(ReasonKey::supplementary_missing) + " " +
            missingReason(*module.supplementary));
    if (module.is_supplementary_unknown)
        add(reasonText(ReasonKey::supplementary_unknown));
    if (module.split_dwarf) {
        add(splitReason(*module.split_dwarf));
        if (!module.split_dwarf->error.empty())
            add(reasonText(ReasonKey::split_units_unread,
                           {displayName(module.split_dwarf->error)}));
    }
    return text;
}

SourceStatus statusOf(SourceResolution const& source) {
    FileResolution const& file = source.file;
    if (file.found())
        return file.confidence == LK_2_13::cfValidated ? SourceStatus::proven
                                                       : SourceStatus::unproven;
    return file.rejected.empty() ? SourceStatus::missing : SourceStatus::refused;
}

std::string symbolsHelp(ModuleResolution const& module) {
    bool const hasNames = module.level != SymbolLevel::exports && module.level != SymbolLevel::none;
    // Nobody keeps files of what a kernel maps into its processes.
    bool const isKept =
        module.status != ModuleStatus::not_a_file && module.module.kind != ModuleKind::vdso;
    if (hasNames || !isKept)
        return {};
    if (module.package)
        return reasonText(ReasonKey::help_package, {displayName(module.package->name),
                                                    displayName(module.package->debug_name)});
    std::string id = toHex(module.module.build_id);
    if (id.empty() && module.symbols && module.symbols->identity.kind == IdentityKind::build_id)
        id = module.symbols->identity.expected;
    return id.empty() ? "" : reasonText(ReasonKey::help_build_id, {id});
}

std::string statusReason(ModuleResolution const& module) {
    switch (module.status) {
    case ModuleStatus::resolved:
        return {};
    case ModuleStatus::unproven:
        return reasonText(ReasonKey::unproven);
    case ModuleStatus::missing:
        return module.binary ? missingReason(*module.binary) : reasonText(ReasonKey::unsafe_name);
    case ModuleStatus::not_a_file:
        return reasonText(notAFileReason(module.module.kind));
    case ModuleStatus::unsupported:
        return reasonText(unsupportedReason(module.module));
    }
    return {};
}

} // namespace lokata::profile
