#include "search/split_search.h"

#include "read/reasons.h"

#include <lokata2/utils.h>
#include <toolbelt2/path.h>

#include <algorithm>
#include <functional>
#include <map>

namespace lokata::profile {

namespace {

struct DwoFile {
    std::string name; ///< As the symbols have it, without the directory of the compilation.
    std::vector<std::uint64_t> ids;
};

/// By the full name, which debuggers open; a relative one where the directory is not known.
using DwoFiles = std::map<std::string, DwoFile>;

DwoFiles dwoFilesOf(std::vector<SplitUnit> const& units, SplitContents const& package) {
    DwoFiles result;
    for (SplitUnit const& unit : units) {
        if (unit.name.empty() ||
            std::binary_search(package.ids.begin(), package.ids.end(), unit.id))
            continue;
        std::string const path =
            unit.name.front() == '/' ? unit.name : toolbelt2::join_path(unit.directory, unit.name);
        DwoFile& file = result[LK_2_13::utils::getCanonicalName(path.c_str(), false)];
        file.name = unit.name;
        file.ids.push_back(unit.id);
    }
    return result;
}

/// The binary, beside which debug information mostly lies.
std::string const& besideOf(SplitOwner const& owner) {
    return owner.binary.empty() ? owner.symbols : owner.binary;
}

/// How many of those that are expected a package holds.
std::size_t heldBy(SplitContents const& package, std::vector<std::uint64_t> const& ids) {
    return static_cast<std::size_t>(std::count_if(
        ids.begin(), ids.end(),
        [&](std::uint64_t id) {
            return std::binary_search(package.ids.begin(), package.ids.end(), id);
        }));
}

/// Packages that hold some of the units, the one with the most of them first.
std::vector<Candidate> partsOf(FileResolution const& found, SearchSupport& support,
                               std::vector<std::uint64_t> const& ids) {
    std::multimap<std::size_t, Candidate, std::greater<>> parts;
    for (JudgedCandidate const& each : found.rejected)
        if (auto const held = heldBy(*splitContents(support.split, each.path), ids); held != 0)
            parts.emplace(held, Candidate{each.path, Place::split_dwarf});
    std::vector<Candidate> result;
    for (auto& [held, part] : parts)
        result.push_back(std::move(part));
    return result;
}

/// A package may be of a build before and still hold some of the units; one with all of them comes
/// first, wherever it lies.
FileResolution findPackage(ModuleSearch& search, SearchSupport& support, SplitOwner const& owner,
                           std::vector<SplitUnit> const& units) {
    std::vector<std::uint64_t> ids;
    ids.reserve(units.size());
    for (SplitUnit const& unit : units)
        ids.push_back(unit.id);
    SplitValidator whole(support.split, ids);
    std::string const searched = searchableName(owner.name);
    std::vector<std::string> const names = packageFileNames(searched, owner.symbols);
    FileResolution result = search.findPart(
        names, besideOf(owner), support.places.package(searched, owner.binary, owner.symbols),
        whole.expected(), whole);
    for (Candidate& part : partsOf(result, support, ids)) {
        if (result.found())
            break;
        auto& rejected = result.rejected;
        rejected.erase(
            std::remove_if(rejected.begin(), rejected.end(),
                           [&](JudgedCandidate const& each) { return each.path == part.path; }),
            rejected.end());
        SplitValidator some(support.split, ids, true);
        search.tryPart(names.front(), besideOf(owner), {std::move(part)}, some, result);
    }
    return result;
}

} // namespace

Boxed<SplitResolution> findSplitDwarf(ModuleSearch& search, SearchSupport& support,
                                      SplitOwner const& owner) {
    if (support.elf.facts(owner.symbols)->is_known_unsplit)
        return std::nullopt;
    SplitDwarf split = readSplitDwarf(owner.symbols);
    if (split.units.empty() && split.error.empty())
        return std::nullopt;
    SplitResolution result;
    result.units = split.units.size();
    result.error = std::move(split.error);
    if (split.units.empty())
        return result;
    result.package = findPackage(search, support, owner, split.units);
    SplitContents package;
    if (result.package.found())
        package = *splitContents(support.split, result.package.path);
    for (SplitUnit const& unit : split.units)
        if (std::binary_search(package.ids.begin(), package.ids.end(), unit.id))
            ++result.found_units;
    for (auto& [name, file] : dwoFilesOf(split.units, package)) {
        SplitValidator validator(support.split, file.ids);
        SplitFile& found = result.files.emplace_back();
        found.name = name;
        found.dwo_ids = file.ids;
        found.file.identity = validator.expected();
        if (std::string const searched = searchableName(name); !searched.empty())
            found.file = search.findPart({searched}, besideOf(owner),
                                         support.places.splitUnit(file.name, searched),
                                         validator.expected(), validator);
        if (found.file.found())
            result.found_units += found.dwo_ids.size();
    }
    return result;
}

void trySplitDwarf(ModuleSearch& search, SearchSupport& support, SplitOwner const& owner,
                   std::function<std::vector<Candidate>(std::string const&)> const& candidates,
                   SplitResolution& result) {
    for (SplitFile& file : result.files) {
        std::string const searched = searchableName(file.name);
        if (file.file.found() || searched.empty())
            continue;
        SplitValidator validator(support.split, file.dwo_ids);
        search.tryPart(searched, besideOf(owner), candidates(searched), validator, file.file);
        if (file.file.found())
            result.found_units += file.dwo_ids.size();
    }
}

} // namespace lokata::profile
