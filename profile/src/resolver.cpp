#include "profile/resolver.h"

#include "profile/names.h"

#include <chrono>
#include <iterator>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace lokata::profile {

using namespace LK_2_13;

namespace {

std::uint64_t microsecondsSince(std::chrono::steady_clock::time_point start) {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          std::chrono::steady_clock::now() - start)
                                          .count());
}

std::string kernelRelease(ISearchEnv* environment) {
    if (environment == nullptr)
        return {};
    ObjectPtr<IEnvironmentInfo> const info = environment->environmentInfo();
    return info ? info->kernelRelease() : "";
}

bool isForeignName(Module const& module) {
    switch (module.kind) {
    case ModuleKind::guest_file:
    case ModuleKind::guest_kernel:
    case ModuleKind::guest_module:
        return true;
    default:
        return module.mount_namespace != 0;
    }
}

Identity expectedBuildId(BuildId const& buildId) {
    if (buildId.empty())
        return {};
    return {IdentityKind::build_id, toHex(buildId), ""};
}

Identity expectedOfSource(SourceIdentity const& source) {
    if (!source.md5)
        return {};
    return {IdentityKind::source_md5, toHex({source.md5->begin(), source.md5->end()}), ""};
}

/// Modules of one key are the same file, whatever else was recorded of them.
auto keyOf(Module const& module) {
    return std::make_tuple(module.kind, module.name, module.build_id, module.mount_namespace);
}

/// The source files that a run has yet to look for, each once.
class SourceList {
public:
    struct Entry {
        SourceFile file;
        std::string module;
        std::string binary;
    };

    void add(SourceFile file, ModuleResolution const& module) {
        SourceIdentity const& identity = file.identity;
        if (!m_known.emplace(file.name, identity.md5, identity.modification_time, identity.size)
                 .second)
            return;
        m_names.insert(file.name);
        m_entries.push_back(
            {std::move(file), module.module.name, module.binary ? module.binary->path : ""});
    }

    /// The profile knows no identity: a name that came with one is not looked for again.
    void addName(std::string const& name, ModuleResolution const& module) {
        if (m_names.count(name) == 0)
            add({name, {}}, module);
    }

    std::vector<Entry> const& entries() const { return m_entries; }

private:
    std::set<std::tuple<std::string, decltype(SourceIdentity::md5), std::uint64_t, std::uint64_t>>
        m_known;
    std::set<std::string> m_names;
    std::vector<Entry> m_entries;
};

SourceList sourcesOf(ProfileResolution const& resolution) {
    SourceList list;
    std::set<std::string> read;
    for (ModuleResolution const& module : resolution.modules) {
        if (!module.symbols || !module.symbols->found() ||
            !read.insert(module.symbols->path).second)
            continue;
        for (SourceFile& file :
             readSourceFiles(module.symbols->path,
                             module.supplementary ? module.supplementary->path : "")
                 .files)
            list.add(std::move(file), module);
    }
    for (ModuleResolution const& module : resolution.modules)
        for (std::uint32_t const index : module.module.source_files)
            list.addName(resolution.profile.source_files.at(index), module);
    return list;
}

} // namespace

std::string searchedName(Module const& module) {
    switch (module.kind) {
    case ModuleKind::kernel:
    case ModuleKind::guest_kernel:
        return VMLINUX;
    case ModuleKind::kernel_module:
    case ModuleKind::guest_module:
        return kernelModuleFileName(module.name);
    default:
        return std::string(withoutDeletedMark(module.name));
    }
}

Resolver::Resolver(ObjectPtr<ISearchEnv> const& environment, SearchSupport& support, bool useIndex)
    : m_support(support)
    , m_search(environment, support, useIndex)
    , m_kernel(support.places.options(), kernelRelease(environment.get())) {}

ProfileResolution Resolver::resolve(Profile profile, std::string input, Progress const& progress) {
    auto const start = std::chrono::steady_clock::now();
    ProfileResolution result;
    result.input = std::move(input);
    result.profile = std::move(profile);
    std::vector<Module> const modules = std::exchange(result.profile.modules, {});

    std::map<decltype(keyOf(modules.front())), std::size_t> known;
    for (Module const& module : modules) {
        auto const [equal, isNew] = known.emplace(keyOf(module), result.modules.size());
        result.modules.push_back(isNew ? resolve(module) : result.modules[equal->second]);
        result.modules.back().module = module;
        if (progress)
            progress(result.modules.size(), modules.size());
    }
    result.learned = std::exchange(m_learned, {});
    result.elapsed_us = microsecondsSince(start);
    return result;
}

std::vector<Candidate> Resolver::hints(Module const& module, std::string const& name) {
    if (module.kind == ModuleKind::kernel_module)
        return m_kernel.module(name);
    if (module.kind != ModuleKind::kernel)
        return {};
    std::vector<Candidate> result = m_kernel.image();
    // Where the recording knew the image, its name is a path.
    if (module.name.front() == '/' && isSafeName(module.name))
        result.insert(result.begin(), {module.name, Place::kernel_tree});
    return result;
}

ModuleResolution Resolver::resolve(Module const& module) {
    ModuleResolution result;
    if (!hasFile(module.kind)) {
        result.status = ModuleStatus::not_a_file;
        return result;
    }
    if (isForeignName(module) && module.build_id.empty()) {
        result.status = ModuleStatus::unsupported;
        return result;
    }

    std::string const name = searchedName(module);
    if (module.build_id.empty() && searchableName(name).empty())
        return result;
    Identity const expected = expectedBuildId(module.build_id);
    std::vector<Candidate> const hinted = hints(module, name);
    result.binary = take(m_search.findBinary(name, module.build_id, 0, hinted), expected);
    FileResolution const& binary = *result.binary;
    if (binary.found())
        result.status = expected.kind != IdentityKind::none && binary.confidence == cfValidated
                            ? ModuleStatus::resolved
                            : ModuleStatus::unproven;
    // Without a binary only a build-id can tell whose symbols a file holds.
    if (binary.found() || !module.build_id.empty())
        result.symbols =
            take(m_search.findSymbols(name, binary.path, module.build_id, hinted), expected);
    if (!result.symbols || !result.symbols->found())
        return result;

    if (std::optional<SearchOutcome> found = m_search.findSupplementary(result.symbols->path)) {
        auto const facts = m_support.elf.facts(result.symbols->path);
        result.supplementary =
            take(std::move(*found),
                 expectedBuildId(facts->alt_link ? facts->alt_link->build_id : BuildId()));
    }
    return result;
}

FileResolution Resolver::take(SearchOutcome outcome, Identity const& expected) {
    FileResolution result;
    result.identity = expected;
    result.elapsed_us = static_cast<std::uint64_t>(outcome.elapsed.count());
    result.suggested = std::move(outcome.suggested);
    result.steps = std::move(outcome.steps);
    if (outcome.file) {
        result.path = std::move(outcome.file->path);
        result.confidence = outcome.file->confidence;
        result.step = outcome.file->step;
        result.place = placeName(outcome.file->place);
        result.identity = std::move(outcome.file->identity);
    }
    for (RejectedFile& file : outcome.rejected) {
        // A directory in the place of a candidate is no finding, and the library gives no reason.
        if (file.step == ssAskUser && file.message.empty())
            continue;
        result.refused.push_back({std::move(file.path), file.severity, file.step,
                                  std::move(file.message), std::move(file.identity)});
    }
    if (outcome.learned)
        m_learned.push_back(std::move(*outcome.learned));
    return result;
}

void Resolver::findSources(ProfileResolution& resolution, Progress const& progress) {
    auto const start = std::chrono::steady_clock::now();
    SourceList const list = sourcesOf(resolution);
    for (SourceList::Entry const& entry : list.entries()) {
        resolution.sources.push_back({entry.file.name, entry.module,
                                      take(m_search.findSource(entry.file, entry.binary),
                                           expectedOfSource(entry.file.identity))});
        if (progress)
            progress(resolution.sources.size(), list.entries().size());
    }
    std::move(m_learned.begin(), m_learned.end(), std::back_inserter(resolution.learned));
    m_learned.clear();
    resolution.elapsed_us += microsecondsSince(start);
}

} // namespace lokata::profile
