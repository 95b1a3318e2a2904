#include "read/profile_builder.h"

#include "read/names.h"

#include <algorithm>

namespace lokata::profile {

namespace {

constexpr std::size_t c_maxErrors = 100;
constexpr std::size_t c_maxName = 64UL * 1024;

/// For modules whose key changes later. Only the readers of perf.data have such, and their keys
/// hold no `mapped_file`.
ModuleKey keyOf(Module const& one) {
    return {one.name, one.kind, bytesOf(one.build_id), one.mount_namespace};
}

} // namespace

std::uint64_t unpackLimit(ReadOptions const& options, std::uint64_t most, std::size_t packedSize) {
    constexpr std::uint64_t c_always = 16UL << 20;
    bool const bound = packedSize < most / std::max<std::uint64_t>(options.max_expansion, 1);
    return bound ? std::min(most, c_always + packedSize * options.max_expansion) : most;
}

ProfileBuilder::ProfileBuilder(ReadOptions const& options) : m_options(options) {}

std::string ProfileBuilder::indexKey(ModuleKey const& key) {
    // The name holds any bytes and so comes behind its length.
    std::string text;
    text.reserve(key.name.size() + key.build_id.size() + 32);
    text.append(std::to_string(key.name.size())).push_back(' ');
    text.append(key.name).push_back(static_cast<char>(key.kind));
    text.append(std::to_string(key.mount_namespace)).push_back(' ');
    text.append(key.mapped_file ? deviceAndInode(*key.mapped_file) : "").push_back(';');
    if (isBuildId(key.build_id))
        text.append(key.build_id);
    return text;
}

bool ProfileBuilder::charge(std::size_t bytes) {
    if (bytes > m_options.max_names - m_names) {
        errorOnce(0, "the limit on the size of all names is reached, more are left out");
        return false;
    }
    m_names += bytes;
    return true;
}

std::uint32_t ProfileBuilder::findModule(ModuleKey const& key) const {
    auto const found = m_modules.find(indexKey(key));
    return found == m_modules.end() ? c_none : found->second;
}

std::uint32_t ProfileBuilder::module(ModuleKey const& key) {
    auto text = indexKey(key);
    if (auto const found = m_modules.find(text); found != m_modules.end())
        return found->second;
    if (key.name.size() > c_maxName) {
        errorOnce(0, "a name of more than 65536 bytes is left out");
        return c_none;
    }
    if (!charge(2 * text.size() + sizeof(Module)))
        return c_none;
    Module added;
    added.name = key.name;
    added.kind = key.kind;
    added.mount_namespace = key.mount_namespace;
    added.build_id = buildIdOf(key.build_id);
    added.mapped_file = key.mapped_file;
    auto const index = static_cast<std::uint32_t>(m_profile.modules.size());
    m_profile.modules.push_back(std::move(added));
    m_modules.emplace(std::move(text), index);
    return index;
}

void ProfileBuilder::setBuildId(std::uint32_t index, std::string_view buildId) {
    auto& target = m_profile.modules[index];
    m_modules.erase(indexKey(keyOf(target)));
    target.build_id.assign(buildId.begin(), buildId.end());
    m_modules.emplace(indexKey(keyOf(target)), index);
}

void ProfileBuilder::setHostNamespace(std::uint64_t inode) {
    if (inode == 0)
        return;
    std::vector<Module> kept;
    std::vector<Module> own;
    for (auto& one : m_profile.modules)
        (one.mount_namespace == inode ? own : kept).push_back(std::move(one));
    m_profile.modules = std::move(kept);
    m_modules.clear();
    for (std::uint32_t i = 0; i < m_profile.modules.size(); ++i)
        m_modules.emplace(indexKey(keyOf(m_profile.modules[i])), i);
    for (auto& one : own) {
        one.mount_namespace = 0;
        auto const index = module(keyOf(one));
        if (index != c_none) {
            auto& target = m_profile.modules[index];
            target.samples += one.samples;
            target.caller_samples += one.caller_samples;
            target.pid = target.pid == 0 ? one.pid : target.pid;
            target.mapped_file = target.mapped_file ? target.mapped_file : one.mapped_file;
        }
    }
}

void ProfileBuilder::addSource(std::uint32_t module, std::string_view file) {
    if (file.empty() || file.size() > c_maxName)
        return;
    std::string text(file);
    auto found = m_sources.find(text);
    if (found == m_sources.end()) {
        if (!charge(2 * text.size() + 2 * sizeof(std::string)))
            return;
        m_profile.source_files.push_back(text);
        auto const index = static_cast<std::uint32_t>(m_profile.source_files.size() - 1);
        found = m_sources.emplace(std::move(text), index).first;
    }
    if (module == c_none)
        return;
    auto& listed = m_profile.modules[module].source_files;
    if (listed.empty() || listed.back() != found->second)
        listed.push_back(found->second);
}

void ProfileBuilder::error(std::uint64_t offset, std::string message) {
    if (m_profile.errors.size() < c_maxErrors)
        m_profile.errors.push_back({offset, std::move(message)});
    else
        ++m_droppedErrors;
}

void ProfileBuilder::errorOnce(std::uint64_t offset, std::string const& message) {
    if (m_told.insert(message).second)
        error(offset, message);
}

Profile ProfileBuilder::take(std::function<bool(Module const&)> const& keep) {
    auto& modules = m_profile.modules;
    if (keep) {
        modules.erase(
            std::remove_if(
                modules.begin(), modules.end(), [&](Module const& one) { return !keep(one); }),
            modules.end());
    }
    for (auto& one : modules) {
        auto& listed = one.source_files;
        std::sort(listed.begin(), listed.end());
        listed.erase(std::unique(listed.begin(), listed.end()), listed.end());
    }
    if (m_droppedErrors > 0) {
        m_profile.errors.push_back(
            {m_profile.errors.back().offset,
             "and " + std::to_string(m_droppedErrors) + " more errors that are not listed"});
    }
    return std::move(m_profile);
}

} // namespace lokata::profile
