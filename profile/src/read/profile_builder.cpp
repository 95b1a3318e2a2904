#include "read/profile_builder.h"

#include <algorithm>
#include <functional>
#include <tuple>

namespace lokata::profile {

namespace {

constexpr std::size_t c_maxErrors = 100;
constexpr std::size_t c_maxName = 64UL * 1024;

std::string_view usableBuildId(ModuleKey const& key) {
    return isBuildId(key.build_id) ? key.build_id : std::string_view();
}

void addPeriods(Boxed<std::vector<std::uint64_t>> const& from,
                Boxed<std::vector<std::uint64_t>>& to) {
    if (!from)
        return;
    auto& sums = to ? *to : to.emplace();
    sums.resize(std::max(sums.size(), from->size()));
    std::transform(from->begin(), from->end(), sums.begin(), sums.begin(), std::plus<>());
}

} // namespace

std::size_t hashOf(ModuleKey const& key) {
    FieldHash hash;
    hash.add(key.name).add(usableBuildId(key));
    hash.add(static_cast<std::uint64_t>(key.kind)).add(key.mount_namespace);
    if (key.mapped_file)
        hash.add(key.mapped_file->device_major)
            .add(key.mapped_file->device_minor)
            .add(key.mapped_file->inode);
    if (key.debug_id)
        hash.add({reinterpret_cast<char const*>(key.debug_id->data()), key.debug_id->size()});
    return hash.value();
}

bool operator==(ModuleKey const& left, ModuleKey const& right) {
    auto const numbersOf = [](ModuleKey const& key) {
        MappedFile const file = key.mapped_file.value_or(MappedFile());
        return std::make_tuple(key.mapped_file.has_value(), file.device_major, file.device_minor,
                               file.inode);
    };
    return left.kind == right.kind && left.mount_namespace == right.mount_namespace &&
           left.name == right.name && usableBuildId(left) == usableBuildId(right) &&
           numbersOf(left) == numbersOf(right) && left.debug_id == right.debug_id;
}

std::uint64_t unpackLimit(ReadOptions const& options, std::uint64_t most, std::size_t packedSize) {
    constexpr std::uint64_t c_always = 16UL << 20;
    bool const bound = packedSize < most / std::max<std::uint64_t>(options.max_expansion, 1);
    return bound ? std::min(most, c_always + packedSize * options.max_expansion) : most;
}

ProfileBuilder::ProfileBuilder(ReadOptions const& options) : m_options(options) {}

/// As module() was asked for it. The numbers of a file may have been noted without being asked for.
ModuleKey ProfileBuilder::knownKey(std::uint32_t index) const {
    ModuleKey key = keyOf(m_profile.modules[index]);
    if (!m_tellsFilesApart)
        key.mapped_file.reset();
    return key;
}

bool ProfileBuilder::charge(std::size_t bytes) {
    if (bytes > m_options.max_names - m_names) {
        errorOnce(0, "the limit of " + std::to_string(m_options.max_names) +
                         " bytes on all names is reached, more are left out");
        return false;
    }
    m_names += bytes;
    return true;
}

std::uint32_t ProfileBuilder::findModule(ModuleKey const& key) const {
    return m_modules.find(
        hashOf(key), [&](std::uint32_t index) { return knownKey(index) == key; });
}

std::uint32_t ProfileBuilder::module(ModuleKey const& key) {
    m_tellsFilesApart = m_tellsFilesApart || key.mapped_file;
    if (auto const found = findModule(key); found != c_none)
        return found;
    if (key.name.size() > c_maxName) {
        errorOnce(0, "a name of more than 65536 bytes is left out");
        return c_none;
    }
    if (!charge(key.name.size() + key.build_id.size() + sizeof(Module)))
        return c_none;
    Module added;
    added.name = key.name;
    added.kind = key.kind;
    added.mount_namespace = key.mount_namespace;
    added.build_id = buildIdOf(key.build_id);
    added.debug_id = key.debug_id;
    added.mapped_file = key.mapped_file;
    auto const index = static_cast<std::uint32_t>(m_profile.modules.size());
    m_profile.modules.push_back(std::move(added));
    m_modules.add(hashOf(key), index);
    return index;
}

void ProfileBuilder::setBuildId(std::uint32_t index, std::string_view buildId) {
    m_modules.remove(hashOf(knownKey(index)), index);
    m_profile.modules[index].build_id.assign(buildId.begin(), buildId.end());
    if (findModule(knownKey(index)) == c_none)
        m_modules.add(hashOf(knownKey(index)), index);
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
        m_modules.add(hashOf(knownKey(i)), i);
    for (auto& one : own) {
        one.mount_namespace = 0;
        ModuleKey key = keyOf(one);
        key.mapped_file.reset(); // Whose namespaces are told is told no files apart.
        auto const index = module(key);
        if (index != c_none) {
            auto& target = m_profile.modules[index];
            target.samples += one.samples;
            addPeriods(one.periods, target.periods);
            target.caller_samples += one.caller_samples;
            target.pid = target.pid == 0 ? one.pid : target.pid;
            target.mapped_file = target.mapped_file ? target.mapped_file : one.mapped_file;
        }
    }
}

void ProfileBuilder::addSource(std::uint32_t module, std::string_view file) {
    if (file.empty() || file.size() > c_maxName)
        return;
    std::size_t const hash = FieldHash().add(file).value();
    auto& files = m_profile.source_files;
    auto found = m_sources.find(hash, [&](std::uint32_t index) { return files[index] == file; });
    if (found == c_none) {
        if (!charge(file.size() + sizeof(std::string)))
            return;
        found = static_cast<std::uint32_t>(files.size());
        files.emplace_back(file);
        m_sources.add(hash, found);
    }
    if (module == c_none)
        return;
    auto& listed = m_profile.modules[module].source_files;
    if (listed.empty() || listed.back() != found)
        listed.push_back(found);
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
    if (keep)
        modules.erase(std::remove_if(modules.begin(), modules.end(),
                                     [&](Module const& one) { return !keep(one); }),
                      modules.end());
    for (auto& one : modules) {
        auto& listed = one.source_files;
        std::sort(listed.begin(), listed.end());
        listed.erase(std::unique(listed.begin(), listed.end()), listed.end());
    }
    if (m_droppedErrors > 0)
        m_profile.errors.push_back(
            {m_profile.errors.back().offset,
             "and " + std::to_string(m_droppedErrors) + " more errors that are not listed"});
    return std::move(m_profile);
}

} // namespace lokata::profile
