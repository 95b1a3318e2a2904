#include "commands/resolve_summary.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>

namespace lokata::cli {

using namespace profile;

namespace {

bool isOfKernel(Module const& module) {
    switch (module.kind) {
    case ModuleKind::kernel:
    case ModuleKind::kernel_module:
    case ModuleKind::bpf:
    case ModuleKind::guest_kernel:
    case ModuleKind::guest_module:
        return true;
    default:
        return false;
    }
}

bool meets(ModuleResolution const& module, Requirement requirement) {
    switch (requirement) {
    case Requirement::file:
        return module.status == ModuleStatus::resolved || module.status == ModuleStatus::unproven;
    case Requirement::names:
        return module.level == SymbolLevel::lines ||
               module.level == SymbolLevel::incomplete_lines || module.level == SymbolLevel::names;
    case Requirement::lines:
        return module.level == SymbolLevel::lines;
    }
    return false;
}

/// Sums over the modules that count, in samples or, where none were taken, in modules.
class Totals {
public:
    Totals(ProfileResolution const& resolution, VerdictScope const& scope)
        : m_resolution(resolution), m_scope(scope) {
        ModuleTotal const all = of([](ModuleResolution const&) { return true; });
        m_samples = all.samples + (scope.user_only ? 0 : resolution.profile.unattributed_samples);
        m_modules = all.modules - of(ModuleStatus::not_a_file).modules;
        m_hasSamples = resolution.profile.has_samples && m_samples > 0;
    }

    bool hasSamples() const { return m_hasSamples; }
    std::uint64_t modules() const { return m_modules; }

    template <class Condition>
    ModuleTotal of(Condition const& condition) const {
        ModuleTotal total;
        for (ModuleResolution const& module : m_resolution.modules)
            if (!(m_scope.user_only && isOfKernel(module.module)) && condition(module)) {
                ++total.modules;
                total.samples += module.module.samples;
            }
        return total;
    }
    ModuleTotal of(ModuleStatus status) const {
        return of([status](ModuleResolution const& each) { return each.status == status; });
    }
    ModuleTotal of(SymbolLevel level) const {
        return of([level](ModuleResolution const& each) { return each.level == level; });
    }

    bool isNone(ModuleTotal const& total) const {
        return (m_hasSamples ? total.samples : total.modules) == 0;
    }
    std::string amount(ModuleTotal const& total) const {
        return m_hasSamples ? share(total.samples, m_samples) : std::to_string(total.modules);
    }

private:
    ProfileResolution const& m_resolution;
    VerdictScope const& m_scope;
    std::uint64_t m_samples = 0;
    std::uint64_t m_modules = 0;
    bool m_hasSamples = false;
};

std::string verdict(Totals const& totals, VerdictScope const& scope) {
    std::string text = totals.amount(totals.of(SymbolLevel::lines));
    if (totals.hasSamples())
        text = totals.amount(totals.of(ModuleStatus::resolved)) + " of the samples" +
               (scope.user_only ? " in user space" : "") +
               " lie in files that are found and proven; " + text + " can be shown with lines";
    else
        text += " of " + std::to_string(totals.modules()) + " modules can be shown with lines";
    constexpr Word<SymbolLevel> c_others[]{
        {SymbolLevel::incomplete_lines, " with a part of the lines"},
        {SymbolLevel::names, " with names"},
        {SymbolLevel::exports, " with exported names only"},
    };
    for (auto const& [level, words] : c_others)
        if (ModuleTotal const total = totals.of(level); !totals.isNone(total))
            text += ", " + totals.amount(total) + std::string(words);
    ModuleTotal const unproven = totals.of([](ModuleResolution const& each) {
        return each.level != SymbolLevel::none && !isLevelProven(each);
    });
    if (!totals.isNone(unproven))
        text += "; " + totals.amount(unproven) + (totals.hasSamples() ? " of it" : " of them") +
                " unproven";
    return text + "\n";
}

std::string statusCounts(Totals const& totals) {
    std::string text;
    auto const add = [&](ModuleStatus status, bool always) {
        ModuleTotal const total = totals.of(status);
        if (!always && total.modules == 0)
            return;
        text += (text.empty() ? "" : ", ") + std::to_string(total.modules);
        if (always)
            text += " of " + std::to_string(totals.modules());
        text += " " + std::string(wordOf(c_moduleStatuses, status));
        if (totals.hasSamples())
            text += " (" + totals.amount(total) + " of samples)";
    };
    add(ModuleStatus::resolved, true);
    for (ModuleStatus const status :
         {ModuleStatus::unproven, ModuleStatus::missing, ModuleStatus::unsupported})
        add(status, false);
    if (ModuleTotal const noFiles = totals.of(ModuleStatus::not_a_file); noFiles.modules > 0)
        text += "; " + std::to_string(noFiles.modules) + " without a file";
    return text + "\n";
}

} // namespace

bool isComplete(ProfileResolution const& resolution, VerdictScope const& scope) {
    auto const isEnough = [&scope](ModuleResolution const& each) {
        bool const counts = each.status != ModuleStatus::not_a_file &&
                            !(scope.user_only && isOfKernel(each.module));
        return !counts || meets(each, scope.requirement);
    };
    return resolution.profile.errors.empty() &&
           std::all_of(resolution.modules.begin(), resolution.modules.end(), isEnough);
}

std::string resolutionSummary(ProfileResolution const& resolution, VerdictScope const& scope) {
    Totals const totals(resolution, scope);
    return (totals.modules() > 0 || totals.hasSamples() ? verdict(totals, scope) : "") +
           statusCounts(totals);
}

std::uint64_t allSamples(ProfileResolution const& resolution) {
    return std::accumulate(
        resolution.modules.begin(), resolution.modules.end(),
        resolution.profile.unattributed_samples,
        [](std::uint64_t sum, ModuleResolution const& each) { return sum + each.module.samples; });
}

std::string share(std::uint64_t part, std::uint64_t whole) {
    constexpr double c_least = 0.1;
    constexpr double c_most = 99.9;
    if (part == 0 || whole == 0)
        return "0 %";
    if (part == whole)
        return "100 %";
    double const percent = 100.0 * static_cast<double>(part) / static_cast<double>(whole);
    if (percent < c_least)
        return "<0.1 %";
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%.1f %%", std::min(percent, c_most));
    return text.data();
}

} // namespace lokata::cli
