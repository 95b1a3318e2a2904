#include "resolve/source_list.h"

#include <algorithm>
#include <utility>

namespace lokata::profile {

namespace {

/// As recorded, or else as the files of the module have it.
BuildId buildIdOf(ModuleResolution const& module, ElfFactsCache& cache) {
    BuildId result = module.module.build_id;
    for (auto const* const file : {&module.binary, &module.symbols})
        if (result.empty() && *file && (*file)->found())
            result = cache.facts((*file)->path)->build_id;
    return result;
}

} // namespace

SourceList::SourceList(ProfileResolution const& resolution, ElfFactsCache& cache) {
    for (ModuleResolution const& module : resolution.modules)
        addAsker(module, buildIdOf(module, cache));
    for (std::size_t asker = 0; asker < m_askers.size(); ++asker)
        readSymbols(resolution.modules[asker], asker);
    for (std::size_t asker = 0; asker < m_askers.size(); ++asker)
        for (std::uint32_t const index : resolution.modules[asker].module.source_files)
            if (index < resolution.profile.source_files.size())
                addName(resolution.profile.source_files[index], asker);
}

void SourceList::readSymbols(ModuleResolution const& module, std::size_t asker) {
    bool const hasLines =
        module.level == SymbolLevel::lines || module.level == SymbolLevel::incomplete_lines;
    if (!hasLines || m_errors.count(module.symbols->path) != 0)
        return;
    SourceFiles sources = readSourceFiles(module.symbols->path,
                                          module.supplementary ? module.supplementary->path : "");
    for (SourceFile& file : sources.files)
        add(std::move(file), asker);
    m_errors.emplace(module.symbols->path, std::move(sources.error));
}

Boxed<std::string> SourceList::errorOf(ModuleResolution const& module) const {
    auto const error = module.symbols ? m_errors.find(module.symbols->path) : m_errors.end();
    if (error == m_errors.end() || error->second.empty())
        return std::nullopt;
    return error->second;
}

void SourceList::addAsker(ModuleResolution const& module, BuildId const& buildId) {
    std::size_t const equal = m_firstAskers.emplace(buildId, m_askers.size()).first->second;
    m_askers.push_back(
        {module.module.name, module.binary ? module.binary->path : "", buildId, equal});
}

void SourceList::add(SourceFile file, std::size_t asker) {
    SourceIdentity const& identity = file.identity;
    auto const [known, isNew] = m_known.emplace(
        std::tuple(file.name, identity.md5, identity.modification_time, identity.size),
        m_entries.size());
    if (isNew) {
        m_names.insert(file.name);
        m_entries.push_back({std::move(file), {asker}});
        return;
    }
    auto& askers = m_entries[known->second].askers;
    bool const isAsked =
        identity.md5 || std::any_of(askers.begin(), askers.end(), [&](std::size_t each) {
            return m_askers[each].equal == m_askers[asker].equal;
        });
    if (!isAsked)
        askers.push_back(asker);
}

/// The profile knows no identity: a name that came with one is not looked for again.
void SourceList::addName(std::string const& name, std::size_t asker) {
    if (m_names.count(name) == 0 || m_known.count({name, {}, 0, 0}) != 0)
        add({name, {}}, asker);
}

/// Modules of which archives tell the same. All that no copy was stored for are one group, but for
/// those without a build-id, of which the profile tells.
std::vector<std::vector<std::size_t>> SourceList::groupsOf(Entry const& entry,
                                                           CopiesOf const& copiesOf) const {
    if (entry.askers.size() == 1)
        return {entry.askers};
    CopiesByModule const copies = copiesOf(entry.file.name);
    if (copies.empty())
        return {entry.askers};
    std::vector<std::vector<std::size_t>> groups;
    std::map<std::pair<bool, std::set<std::string>>, std::size_t> known;
    for (std::size_t const asker : entry.askers) {
        BuildId const& buildId = m_askers[asker].build_id;
        auto const own = buildId.empty() ? copies.end() : copies.find(buildId);
        auto const key =
            std::pair(buildId.empty(), own == copies.end() ? std::set<std::string>() : own->second);
        auto const [group, isNew] = known.emplace(key, groups.size());
        if (isNew)
            groups.emplace_back();
        groups[group->second].push_back(asker);
    }
    return groups;
}

SourceQuestion SourceList::questionOf(std::size_t entry,
                                      std::vector<std::size_t> const& askers) const {
    Asker const& first = m_askers[askers.front()];
    SourceQuestion result{m_entries[entry].file, first.module, first.binary, {}, entry};
    for (std::size_t const asker : askers)
        result.build_ids.push_back(m_askers[asker].build_id);
    return result;
}

std::vector<SourceQuestion> SourceList::questions(CopiesOf const& copiesOf) const {
    std::vector<SourceQuestion> result;
    for (std::size_t entry = 0; entry < m_entries.size(); ++entry)
        for (auto const& askers : groupsOf(m_entries[entry], copiesOf))
            result.push_back(questionOf(entry, askers));
    return result;
}

} // namespace lokata::profile
