#include "commands/resolve_summary.h"

#include "console/texts.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

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

/// What modules come to of one share of the recording.
struct Total {
    std::uint64_t modules = 0;
    std::uint64_t weight = 0;
};

/// Sums over the modules that count, by weight or, where no samples were taken, by number.
class Totals {
public:
    Totals(ProfileResolution const& resolution, VerdictScope const& scope, std::size_t share)
        : m_resolution(resolution), m_scope(scope), m_share(share) {
        m_weight = wholeWeight(resolution, share);
        for (ModuleResolution const& each : resolution.modules)
            if (!counts(each))
                m_weight -= weightOf(each.module, resolution.profile, share);
        m_modules = of([](ModuleResolution const& each) {
                        return each.status != ModuleStatus::not_a_file;
                    }).modules;
        m_hasSamples = resolution.profile.has_samples && m_weight > 0;
    }

    bool hasSamples() const { return m_hasSamples; }
    std::uint64_t modules() const { return m_modules; }

    template <class Condition>
    Total of(Condition const& condition) const {
        Total total;
        for (ModuleResolution const& module : m_resolution.modules)
            if (counts(module) && condition(module)) {
                ++total.modules;
                total.weight += weightOf(module.module, m_resolution.profile, m_share);
            }
        return total;
    }
    Total of(ModuleStatus status) const {
        return of([status](ModuleResolution const& each) { return each.status == status; });
    }
    Total of(SymbolLevel level) const {
        return of([this, level](ModuleResolution const& each) {
            return each.level == level && isShown(each);
        });
    }
    /// Where modules are counted, what no file stands behind is none of them.
    bool isShown(ModuleResolution const& module) const {
        return m_hasSamples || module.status != ModuleStatus::not_a_file;
    }

    bool isNone(Total const& total) const {
        return (m_hasSamples ? total.weight : total.modules) == 0;
    }
    std::string amount(Total const& total) const {
        return m_hasSamples ? share(total.weight, m_weight) : std::to_string(total.modules);
    }

private:
    bool counts(ModuleResolution const& module) const {
        return !(m_scope.user_only && isOfKernel(module.module));
    }

    ProfileResolution const& m_resolution;
    VerdictScope const& m_scope;
    std::size_t m_share;
    std::uint64_t m_weight = 0;
    std::uint64_t m_modules = 0;
    bool m_hasSamples = false;
};

std::string verdict(Totals const& totals, VerdictScope const& scope) {
    std::string const lines = totals.amount(totals.of(SymbolLevel::lines));
    std::string text =
        totals.hasSamples()
            ? textOf(scope.user_only ? Text::verdict_of_user_samples : Text::verdict_of_samples,
                     {totals.amount(totals.of(ModuleStatus::resolved)), lines})
            : textOf(Text::verdict_of_modules, {lines, std::to_string(totals.modules())});
    for (auto const& [level, words] :
         {std::pair(SymbolLevel::incomplete_lines, Text::shown_in_part),
          std::pair(SymbolLevel::names, Text::shown_by_names),
          std::pair(SymbolLevel::exports, Text::shown_by_exports)})
        if (Total const total = totals.of(level); !totals.isNone(total))
            text += ", " + textOf(words, {totals.amount(total)});
    Total const unproven = totals.of([&totals](ModuleResolution const& each) {
        return each.level != SymbolLevel::none && totals.isShown(each) && !isLevelProven(each);
    });
    if (!totals.isNone(unproven))
        text += "; " + textOf(totals.hasSamples() ? Text::samples_unproven : Text::modules_unproven,
                              {totals.amount(unproven)});
    return text + "\n";
}

std::string statusCounts(Totals const& totals) {
    std::string text;
    auto const add = [&](ModuleStatus status, bool always) {
        Total const total = totals.of(status);
        if (!always && total.modules == 0)
            return;
        std::string const count = std::to_string(total.modules);
        text +=
            (text.empty() ? "" : ", ") +
            (always ? textOf(Text::count_of, {count, std::to_string(totals.modules())}) : count) +
            " " + statusText(status);
        if (totals.hasSamples())
            text += " " + textOf(Text::share_of_samples, {totals.amount(total)});
    };
    add(ModuleStatus::resolved, true);
    for (ModuleStatus const status :
         {ModuleStatus::unproven, ModuleStatus::missing, ModuleStatus::unsupported})
        add(status, false);
    if (Total const noFiles = totals.of(ModuleStatus::not_a_file); noFiles.modules > 0)
        text += "; " + textOf(Text::without_file, {std::to_string(noFiles.modules)});
    return text + "\n";
}

} // namespace

bool isComplete(ProfileResolution const& resolution, VerdictScope const& scope) {
    auto const isEnough = [&scope](ModuleResolution const& each) {
        // Copies of the vdso are there on some machines and not on others.
        bool const counts = each.status != ModuleStatus::not_a_file &&
                            each.module.kind != ModuleKind::vdso &&
                            !(scope.user_only && isOfKernel(each.module));
        return !counts || meets(each, scope.requirement);
    };
    return resolution.profile.errors.empty() &&
           std::all_of(resolution.modules.begin(), resolution.modules.end(), isEnough);
}

std::string resolutionSummary(ProfileResolution const& resolution, VerdictScope const& scope) {
    std::string text;
    std::size_t const shares = countShares(resolution.profile);
    for (std::size_t i = 0; i < shares; ++i) {
        Totals const totals(resolution, scope, i);
        if (totals.modules() > 0 || totals.hasSamples())
            text += (shares > 1 ? shareTitle(resolution.profile, i) + ": " : "") +
                    verdict(totals, scope);
    }
    return text + statusCounts(Totals(resolution, scope, 0));
}

std::string shareTitle(Profile const& profile, std::size_t index) {
    if (profile.events.size() < 2)
        return textOf(Text::title_samples);
    std::string const name = displayName(profile.events[index].name);
    return name.empty() ? textOf(Text::event_number, {std::to_string(index + 1)}) : name;
}

std::string statusText(ModuleStatus status) {
    switch (status) {
    case ModuleStatus::resolved:
        return textOf(Text::status_resolved);
    case ModuleStatus::unproven:
        return textOf(Text::status_unproven);
    case ModuleStatus::missing:
        return textOf(Text::status_missing);
    case ModuleStatus::unsupported:
        return textOf(Text::status_unsupported);
    case ModuleStatus::not_a_file:
        return textOf(Text::status_not_a_file);
    }
    return {};
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
        return "<0" + textOf(Text::decimal_point) + "1 %";
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%.1f", std::min(percent, c_most));
    std::string_view const digits = text.data();
    return std::string(digits.substr(0, digits.find_first_not_of("0123456789"))) +
           textOf(Text::decimal_point) + digits.back() + " %";
}

} // namespace lokata::cli
