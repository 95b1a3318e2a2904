#include "resolve/source_list.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>

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
    if (!hasLines)
        return;
    auto const [reader, isFirst] = m_readers.emplace(module.symbols->path, asker);
    if (!isFirst) {
        m_askers[reader->second].sharers.push_back(asker);
        return;
    }
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
    std::string const binary = module.binary ? module.binary->path : "";
    struct stat status {};
    std::int64_t const written =
        !binary.empty() && ::stat(binary.c_str(), &status) == 0 ? status.st_mtim.tv_sec : 0;
    m_askers.push_back({module.module.name, binary, written, buildId, equal, {}});
}

void SourceList::add(SourceFile file, std::size_t asker) {
    SourceIdentity const& identity = file.identity;
    auto const [known, isNew] = m_known.emplace(
        std::tuple(file.name, identity.md5, identity.modification_time, identity.size),
        m_entries.size());
    if (isNew) {
        m_names.insert(file.name);
        m_entries.push_back({std::move(file), {asker}, {asker}});
        return;
    }
    m_entries[known->second].namers.push_back(asker);
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

std::vector<std::uint32_t> SourceList::modulesOf(Entry const& entry,
                                                 std::vector<std::size_t> const& askers) const {
    std::vector<std::uint32_t> result;
    auto const add = [&](std::size_t module) {
        bool const isAsked = entry.askers.size() == askers.size() ||
                             std::any_of(askers.begin(), askers.end(), [&](std::size_t each) {
                                 return m_askers[each].equal == m_askers[module].equal;
                             });
        if (isAsked)
            result.push_back(static_cast<std::uint32_t>(module));
    };
    for (std::size_t const namer : entry.namers) {
        add(namer);
        for (std::size_t const sharer : m_askers[namer].sharers)
            add(sharer);
    }
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

SourceQuestion SourceList::questionOf(std::size_t entry,
                                      std::vector<std::size_t> const& askers) const {
    Asker const& first = m_askers[askers.front()];
    SourceQuestion result{
        {m_entries[entry].file, first.binary, first.binary}, first.module, {}, entry, {}};
    std::int64_t oldest = first.written;
    for (std::size_t const asker : askers) {
        Asker const& each = m_askers[asker];
        result.build_ids.push_back(each.build_id);
        if (each.written != 0 && (oldest == 0 || each.written < oldest)) {
            oldest = each.written;
            result.source.oldest_binary = each.binary;
        }
    }
    result.modules = modulesOf(m_entries[entry], askers);
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
