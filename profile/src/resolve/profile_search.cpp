#include "resolve/profile_search.h"

#include "facts/running_vdso.h"
#include "read/names.h"
#include "resolve/searched_name.h"
#include "search/search_overlay.h"

#include <algorithm>
#include <array>
#include <utility>

#include <climits>
#include <unistd.h>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

bool isForeignName(Module const& module) {
    return isGuest(module.kind) || module.mount_namespace != 0;
}

bool isOfKernel(ModuleKind kind) {
    return kind == ModuleKind::kernel || kind == ModuleKind::kernel_module ||
           kind == ModuleKind::guest_kernel || kind == ModuleKind::guest_module;
}

/// Archives, trees by build-id and unpacked copies say nothing about where other files lie, and
/// what nothing proved says nothing at all.
bool teaches(FileResolution const& file) {
    return file.found() && file.confidence == cfValidated && !file.unpacked_from &&
           (file.step == ssHighPrioritySearchDirs || file.step == ssLowPrioritySearchDirs);
}

std::vector<Candidate> asCandidates(std::vector<std::string> const& paths) {
    std::vector<Candidate> result;
    result.reserve(paths.size());
    for (std::string const& path : paths)
        result.push_back({path, Place::learned_path});
    return result;
}

/// As recorded, or as the memory of a running process told the search for the binary.
BuildId expectedBuildId(ModuleResolution const& module) {
    bool const isKnown = module.module.build_id.empty() && module.binary &&
                         module.binary->identity.kind == IdentityKind::build_id;
    return isKnown ? buildIdFromHex(module.binary->identity.expected) : module.module.build_id;
}

/// As far as can be told.
bool isOfThisMachine(Profile const& profile, PlaceOptions const& options) {
    std::array<char, HOST_NAME_MAX + 1> name{};
    bool const isNamed = ::gethostname(name.data(), name.size() - 1) == 0;
    return options.sysroot.empty() && options.symfs.empty() &&
           (profile.host_name.empty() || (isNamed && profile.host_name == name.data()));
}

std::string releaseOf(ObjectPtr<ISearchEnv> const& environment, Profile const& profile) {
    std::string told = kernelReleaseOf(environment.get());
    return told.empty() ? profile.kernel_release : told;
}

} // namespace

ProfileSearch::ProfileSearch(ObjectPtr<ISearchEnv> const& environment, SearchSupport& support,
                             ProfileResolution const& resolution)
    : m_process(resolution.profile.live_process)
    , m_environment(environment)
    , m_support(support)
    , m_settings{true, releaseOf(environment, resolution.profile), resolution.profile_id}
    , m_search(environment, support, m_settings)
    , m_kernel(std::make_shared<KernelPlaces>(support.places.options(), m_settings.kernel_release))
    , m_lists(support.places.options().perf_cache,
              isOfThisMachine(resolution.profile, support.places.options())) {}

ProfileSearch::ProfileSearch(ProfileSearch const& other)
    : m_process(other.m_process)
    , m_environment(other.m_environment)
    , m_support(other.m_support)
    , m_settings(other.m_settings)
    , m_search(m_environment, m_support, m_settings)
    , m_kernel(other.m_kernel)
    , m_lists(other.m_lists) {}

std::vector<Candidate> ProfileSearch::hints(Module const& module, std::string const& name) {
    if (module.kind == ModuleKind::kernel_module)
        return m_kernel->module(name);
    if (module.kind == ModuleKind::vdso) {
        std::vector<Candidate> copies = m_kernel->vdso();
        if (std::string running = copyOfRunningVdso(module.build_id); !running.empty())
            copies.push_back({std::move(running), Place::kernel_tree});
        return copies;
    }
    if (module.kind != ModuleKind::kernel)
        return {};
    std::vector<Candidate> result = m_kernel->image();
    // Where the recording knew the image, its name is a path.
    if (isSafeName(module.name) && module.name.front() == '/')
        result.insert(result.begin(), {module.name, Place::kernel_tree});
    return result;
}

std::optional<LiveFile> ProfileSearch::liveFileOf(Module const& module) const {
    if (m_process == 0 || !module.mapped_file)
        return std::nullopt;
    return LiveFile(m_process, *module.mapped_file);
}

/// The kernel tells which file a running process has mapped. The build-id in the memory of the
/// process tells whether it still holds that, and what is a copy of it.
FileResolution ProfileSearch::findLive(Module const& module, LiveFile const& live) {
    std::string const name = searchedName(module);
    std::vector<std::string> const names{module.name, std::string(withoutDeletedMark(module.name))};
    std::vector<Candidate> hints = live.seenByProcess(names);
    if (auto reached = live.reached(names))
        hints.insert(hints.begin(), std::move(*reached));
    BuildId const id = module.build_id.empty() ? live.buildIdInMemory() : module.build_id;
    return m_search.findBinary(name, id, hints, {&live});
}

void ProfileSearch::resolve(ModuleResolution& result) {
    Module const& module = result.module;
    // Copies of it are files, and only its build-id tells which one.
    bool const isVdso = module.kind == ModuleKind::vdso && !module.build_id.empty();
    if (!hasFile(module.kind) && !isVdso) {
        result.status = ModuleStatus::not_a_file;
        return;
    }
    if (isForeignName(module) && module.build_id.empty()) {
        result.status = ModuleStatus::unsupported;
        return;
    }

    std::string const name = searchedName(module);
    auto const live = liveFileOf(module);
    if (!live && module.build_id.empty() && searchableName(name).empty())
        return;
    std::vector<Candidate> const hinted = hints(module, name);
    std::vector<Candidate> binaryHints = hinted;
    if (module.kind == ModuleKind::kernel)
        for (Candidate& image : m_kernel->packedImage())
            binaryHints.push_back(std::move(image));
    result.binary =
        live ? findLive(module, *live)
             : m_search.findBinary(name, module.build_id, binaryHints, {nullptr, module.debug_id});
    judge(result);
    if (isVdso && !result.binary->found()) {
        result.binary.reset();
        result.status = ModuleStatus::not_a_file;
        return;
    }
    findSymbols(result, hinted);
}

void ProfileSearch::judge(ModuleResolution& module) {
    if (!module.binary->found())
        module.status = ModuleStatus::missing;
    else if (module.binary->confidence == cfValidated &&
             module.binary->identity.kind != IdentityKind::none)
        module.status = ModuleStatus::resolved;
    else
        module.status = ModuleStatus::unproven;
}

/// Without a binary only a build-id can tell whose symbols a file holds.
void ProfileSearch::findSymbols(ModuleResolution& module, std::vector<Candidate> const& hinted) {
    FileResolution const& binary = *module.binary;
    BuildId const buildId = expectedBuildId(module);
    if (!binary.found() && buildId.empty())
        return;
    module.symbols =
        m_search.findSymbols(searchedName(module.module), binary.path, buildId, hinted);
    completeSymbols(module);
}

SplitOwner ProfileSearch::splitOwnerOf(ModuleResolution const& module) {
    return {searchedName(module.module), module.binary->path, module.symbols->path};
}

/// Looks for what the symbols leave in other files.
void ProfileSearch::completeSymbols(ModuleResolution& module) {
    if (!module.symbols->found())
        return;
    module.supplementary = m_search.findSupplementary(module.symbols->path);
    module.is_supplementary_unknown =
        m_support.elf.facts(module.symbols->path)->has_unusable_alt_link;
    module.split_dwarf = findSplitDwarf(m_search, m_support, splitOwnerOf(module));
}

std::optional<DebugLink> ProfileSearch::debugLinkOf(FileResolution const& binary) {
    return binary.found() ? m_support.elf.facts(binary.path)->debug_link : std::nullopt;
}

void ProfileSearch::learn(ModuleResolution const& module) {
    if (!module.binary)
        return;
    auto const name = [&] { return searchableName(searchedName(module.module)); };
    if (teaches(*module.binary))
        m_learned.learn(name(), module.binary->path);
    if (module.symbols && teaches(*module.symbols))
        for (std::string const& recorded :
             m_support.places.recordedSymbolPaths(name(), debugLinkOf(*module.binary)))
            m_learned.learn(recorded, module.symbols->path);
    if (module.split_dwarf)
        for (SplitFile const& split : module.split_dwarf->files)
            if (teaches(split.file))
                m_learned.learn(searchableName(split.name), split.file.path);
}

void ProfileSearch::tryLearned(ModuleResolution& module) {
    if (!module.binary)
        return;
    BuildId const buildId = expectedBuildId(module);
    std::string const name = searchedName(module.module);
    std::string const searched = searchableName(name);
    if (!module.binary->found()) {
        auto const live = liveFileOf(module.module);
        m_search.tryBinary(name, buildId, asCandidates(m_learned.candidates(searched)),
                           *module.binary, {live ? &*live : nullptr, module.module.debug_id});
        judge(module);
        if (module.binary->found())
            findSymbols(module, {});
    }
    if (module.symbols && !module.symbols->found())
        tryLearnedSymbols(module);
    if (module.split_dwarf)
        trySplitDwarf(
            m_search, m_support, splitOwnerOf(module),
            [&](std::string const& each) { return asCandidates(m_learned.candidates(each)); },
            *module.split_dwarf);
}

void ProfileSearch::tryLearnedSymbols(ModuleResolution& module) {
    std::string const name = searchedName(module.module);
    std::vector<std::string> paths;
    for (std::string const& recorded :
         m_support.places.recordedSymbolPaths(searchableName(name), debugLinkOf(*module.binary)))
        for (std::string& path : m_learned.candidates(recorded))
            paths.push_back(std::move(path));
    m_search.trySymbols(name, module.binary->path, expectedBuildId(module), asCandidates(paths),
                        *module.symbols);
    completeSymbols(module);
}

void ProfileSearch::scanForBinary(ModuleResolution& module) {
    BuildId const buildId = expectedBuildId(module);
    auto const live = liveFileOf(module.module);
    m_search.tryBinary(searchedName(module.module), buildId,
                       m_search.scannedFiles(buildId, isOfKernel(module.module.kind)),
                       *module.binary, {live ? &*live : nullptr, {}});
    judge(module);
    if (module.binary->found())
        findSymbols(module, {});
}

/// Symbols by the build-id of the binary, also where none was recorded.
void ProfileSearch::scanForSymbols(ModuleResolution& module) {
    FileResolution const& binary = *module.binary;
    BuildId const buildId =
        binary.found() ? m_support.elf.facts(binary.path)->build_id : expectedBuildId(module);
    m_search.trySymbols(searchedName(module.module), binary.path, expectedBuildId(module),
                        m_search.scannedFiles(buildId, isOfKernel(module.module.kind)),
                        *module.symbols);
    completeSymbols(module);
}

void ProfileSearch::scan(ModuleResolution& module) {
    if (!module.binary)
        return;
    if (!module.binary->found())
        scanForBinary(module);
    if (module.symbols && !module.symbols->found())
        scanForSymbols(module);
    if (module.supplementary && !module.supplementary->found()) {
        BuildId const shared = buildIdFromHex(module.supplementary->identity.expected);
        m_search.trySupplementary(module.symbols->path, m_search.scannedFiles(shared, false),
                                  *module.supplementary);
    }
}

void ProfileSearch::conclude(ModuleResolution& module) {
    if (module.symbols && !module.symbols->found())
        m_search.takeSymbolTable(*module.symbols);
    module.level = levelOf(module);
    if (module.level == SymbolLevel::exports || module.level == SymbolLevel::none)
        takeNameList(module);
    bool const hasNames = module.level != SymbolLevel::exports && module.level != SymbolLevel::none;
    if (module.binary && module.binary->found() && !hasNames)
        module.package = packageOf(*module.binary);
}

Boxed<OwningPackage> ProfileSearch::packageOf(FileResolution const& binary) {
    PackageOwners& packages = m_support.packages;
    std::string name = packages.ownerOf(binary.unpacked_from ? *binary.unpacked_from : binary.path);
    if (name.empty())
        return std::nullopt;
    std::string debugName = packages.debugPackageOf(name);
    return OwningPackage{std::move(name), std::move(debugName)};
}

/// Whether all is there that the symbols leave to other files.
bool ProfileSearch::areSymbolsWhole(ModuleResolution const& module) {
    bool const isSupplemented = !module.supplementary || module.supplementary->found();
    auto const& split = module.split_dwarf;
    return isSupplemented && !module.is_supplementary_unknown &&
           (!split || (split->found_units == split->units && split->error.empty()));
}

void ProfileSearch::takeNameList(ModuleResolution& module) {
    FileResolution symbols = module.symbols ? *module.symbols : FileResolution();
    std::size_t const known = symbols.rejected.size();
    bool isTaken = m_lists.find(module.module, symbols);
    if (isTaken && symbols.confidence != cfValidated) {
        auto const confidence = m_search.unprovenConfidence(scSymbolFiles, symbols.step);
        isTaken = confidence.has_value();
        symbols.confidence = confidence.value_or(cfPolicyLow);
    }
    if (isTaken)
        module.level = SymbolLevel::names;
    if (isTaken || (symbols.rejected.size() > known && !symbols.found()))
        module.symbols = std::move(symbols);
}

SymbolLevel ProfileSearch::levelOf(ModuleResolution const& module) {
    if (!module.symbols || !module.symbols->found())
        return SymbolLevel::none;
    auto const facts = m_support.elf.facts(module.symbols->path);
    if (facts->has_lines)
        return areSymbolsWhole(module) ? SymbolLevel::lines : SymbolLevel::incomplete_lines;
    SymbolTables const tables = m_support.symbolTables(module.symbols->path, *facts);
    return tables.has_names     ? SymbolLevel::names
           : tables.has_exports ? SymbolLevel::exports
                                : SymbolLevel::none;
}

void ProfileSearch::learn(SourceResolution const& source) {
    if (teaches(source.file))
        m_learned.learn(searchableName(source.name), source.file.path);
}

void ProfileSearch::scan(SourceQuestion const& source, FileResolution& file) {
    if (!file.found())
        m_search.trySource(source.source, m_search.scannedSources(source.source.file), file);
}

void ProfileSearch::tryLearned(SourceQuestion const& source, FileResolution& file) {
    if (!file.found())
        m_search.trySource(
            source.source,
            asCandidates(m_learned.candidates(searchableName(source.source.file.name))), file);
}

} // namespace lokata::profile
