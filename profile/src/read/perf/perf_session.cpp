#include "read/perf/perf_session.h"

#include "read/names.h"

#include <algorithm>
#include <limits>

#include <linux/perf_event.h>

namespace lokata::profile {

namespace {

/// Mappings made in all, with those that a child process copies from its parent. It bounds what a
/// chain of forks can cost, which would else grow with the square of the input.
constexpr std::uint64_t c_maxRanges = 16'000'000;
constexpr std::uint64_t c_freeRanges = 1'000'000;
/// The kernel's PID_MAX_LIMIT.
constexpr std::size_t c_maxSpaces = 4'194'304;
/// What perf writes for what belongs to no process.
constexpr std::uint32_t c_noProcess = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t c_farthest = std::numeric_limits<std::uint64_t>::max();

/// The worlds that addresses live in, one address space per process in each.
enum World : std::uint64_t { worldUser, worldKernel, worldGuestUser, worldGuestKernel };

std::uint64_t spaceKey(std::uint8_t cpuMode, std::uint32_t pid) {
    switch (cpuMode) {
    case PERF_RECORD_MISC_KERNEL:
        return std::uint64_t{worldKernel} << 32;
    case PERF_RECORD_MISC_GUEST_KERNEL:
        return std::uint64_t{worldGuestKernel} << 32 | pid;
    case PERF_RECORD_MISC_GUEST_USER:
        return std::uint64_t{worldGuestUser} << 32 | pid;
    default:
        return std::uint64_t{worldUser} << 32 | pid;
    }
}

ModuleKind kindOf(std::string_view name, std::uint8_t cpuMode) {
    auto const kind = classifyName(name);
    bool const image = kind == ModuleKind::file || kind == ModuleKind::deleted_file;
    switch (cpuMode) {
    case PERF_RECORD_MISC_KERNEL:
        return image ? ModuleKind::kernel : kind;
    case PERF_RECORD_MISC_GUEST_KERNEL:
        return image || kind == ModuleKind::kernel ? ModuleKind::guest_kernel
               : kind == ModuleKind::kernel_module ? ModuleKind::guest_module
                                                   : kind;
    case PERF_RECORD_MISC_GUEST_USER:
        return image ? ModuleKind::guest_file : kind;
    default:
        return kind;
    }
}

/// perf names the mapping of a kernel "[kernel.kallsyms]_text" after the symbol it starts at, and
/// the same kernel "[kernel.kallsyms]" elsewhere.
std::string_view withoutStartSymbol(std::string_view name, ModuleKind kind) {
    bool const image = kind == ModuleKind::kernel || kind == ModuleKind::guest_kernel;
    return image && name.front() == '[' ? name.substr(0, name.find(']') + 1) : name;
}

std::uint64_t sizeOf(PerfEvent const& event) {
    return sizeof(PerfEvent) + event.call_chain.capacity() * sizeof(std::uint64_t) +
           (event.mapping ? sizeof(PerfMapping) + event.mapping->name.size() : 0);
}

} // namespace

/// Takes [start, end) out of what is mapped, splitting what reaches over its borders.
void PerfSession::clear(Ranges& ranges, std::uint64_t start, std::uint64_t end) {
    auto next = ranges.lower_bound(start);
    if (next != ranges.begin()) {
        auto& before = std::prev(next)->second;
        if (before.end > start) {
            if (before.end > end)
                ranges.emplace(end, before);
            before.end = start;
        }
    }
    while (next != ranges.end() && next->first < end) {
        auto const old = next->second;
        next = ranges.erase(next);
        if (old.end > end) {
            ranges.emplace(end, old);
            return;
        }
    }
}

PerfSession::PerfSession(ProfileBuilder& builder, std::size_t inputSize)
    : m_builder(builder), m_maxRanges(std::min(c_maxRanges, c_freeRanges + inputSize / 8)) {}

void PerfSession::add(PerfEvent event) {
    if (event.kind == PerfEvent::Kind::sample)
        m_builder.profile().has_samples = true;
    if (event.time == 0 || event.time == c_farthest) {
        apply(event);
        return;
    }
    m_newest = std::max(m_newest, event.time);
    m_pendingBytes += sizeOf(event);
    m_pending.push_back(std::move(event));
    if (m_pendingBytes > m_builder.options().max_pending)
        flush(c_farthest);
}

void PerfSession::finishedRound() {
    flush(m_newestOfLastRound);
    m_newestOfLastRound = m_newest;
}

void PerfSession::flush(std::uint64_t upTo) {
    std::stable_sort(
        m_pending.begin(), m_pending.end(),
        [](PerfEvent const& a, PerfEvent const& b) { return a.time < b.time; });
    auto const end = std::find_if(m_pending.begin(), m_pending.end(),
                                  [&](PerfEvent const& event) { return event.time > upTo; });
    std::for_each(m_pending.begin(), end, [&](PerfEvent const& event) {
        m_pendingBytes -= sizeOf(event);
        apply(event);
    });
    m_pending.erase(m_pending.begin(), end);
}

void PerfSession::finish() {
    flush(c_farthest);
    for (std::uint32_t const module : m_sharedMemory)
        m_builder.profile().modules[module].pid = 0;
    applyNamespaces();
    applyBuildIds();
}

void PerfSession::apply(PerfEvent const& event) {
    switch (event.kind) {
    case PerfEvent::Kind::map:
        map(event);
        break;
    case PerfEvent::Kind::unmap:
        unmap(event);
        break;
    case PerfEvent::Kind::fork:
        fork(event);
        break;
    case PerfEvent::Kind::exec:
        if (auto* const target = space(spaceKey(event.cpu_mode, event.pid)))
            target->ranges.reset();
        break;
    case PerfEvent::Kind::mount_namespace:
        if (auto* const target = space(spaceKey(PERF_RECORD_MISC_USER, event.pid)))
            target->mount_namespace = event.address;
        m_firstNamespace = m_firstNamespace == 0 ? event.address : m_firstNamespace;
        break;
    case PerfEvent::Kind::sample:
        sample(event);
        break;
    }
}

PerfSession::Space* PerfSession::space(std::uint64_t key) {
    auto const known = m_spaces.find(key);
    if (known != m_spaces.end())
        return &known->second;
    if (m_spaces.size() >= c_maxSpaces) {
        m_builder.errorOnce(0,
                            "more processes than a machine can have, the later ones are left out");
        return nullptr;
    }
    return &m_spaces[key];
}

/// Gives the space ranges of its own with room for one more; false when the limit is reached.
bool PerfSession::makeWritable(Space& space) {
    bool const shared = space.ranges.use_count() > 1;
    m_rangesMade += 1 + (shared ? space.ranges->size() : 0);
    if (m_rangesMade > m_maxRanges) {
        m_builder.errorOnce(0, "too many mappings, the later ones are not attributed");
        return false;
    }
    if (!space.ranges)
        space.ranges = std::make_shared<Ranges>();
    else if (shared)
        space.ranges = std::make_shared<Ranges>(*space.ranges);
    return true;
}

/// The same file in two mount namespaces is one module; two files of one name are two.
std::uint32_t PerfSession::moduleOf(PerfEvent const& event, std::uint64_t mountNamespace) {
    auto const& mapping = *event.mapping;
    auto const kind = mapping.kind.value_or(kindOf(mapping.name, event.cpu_mode));
    ModuleKey const key{withoutStartSymbol(mapping.name, kind), kind, mapping.build_id,
                        mountNamespace};
    auto const& identity = mapping.build_id.empty() ? mapping.inode : mapping.build_id;
    if (mountNamespace == 0 || identity.empty())
        return m_builder.module(key);
    std::string file = std::to_string(identity.size()) + " " + identity + mapping.name;
    auto const known = m_files.find(file);
    if (known != m_files.end()) {
        if (m_builder.profile().modules[known->second].mount_namespace != mountNamespace &&
            m_fileBytes <= m_builder.options().max_names) {
            bool const isNew = m_alsoIn.emplace(known->second, mountNamespace).second;
            m_fileBytes += isNew ? sizeof(std::string) : 0;
        }
        return known->second;
    }
    auto const index = m_builder.module(key);
    m_fileBytes += file.size() + sizeof(std::string);
    if (index != ProfileBuilder::c_none && m_fileBytes <= m_builder.options().max_names)
        m_files.emplace(std::move(file), index);
    return index;
}

void PerfSession::map(PerfEvent const& event) {
    auto* const target = space(spaceKey(event.cpu_mode, event.pid));
    if (target == nullptr)
        return;
    bool const kernel = event.cpu_mode == PERF_RECORD_MISC_KERNEL;
    auto const module = moduleOf(event, target->mount_namespace);
    auto const length = event.length == 0 && kernel ? c_farthest : event.length;
    if (module == ProfileBuilder::c_none || length == 0 || !makeWritable(*target))
        return;
    auto& mapped = m_builder.profile().modules[module];
    if (mapped.pid == 0 && !kernel)
        mapped.pid = event.pid;
    if (!mapped.mapped_file)
        mapped.mapped_file = event.mapping->file;
    auto const end = event.address + std::min(length, c_farthest - event.address);
    clear(*target->ranges, event.address, end);
    (*target->ranges)[event.address] = {end, module};
}

void PerfSession::unmap(PerfEvent const& event) {
    auto* const target = space(spaceKey(event.cpu_mode, event.pid));
    if (target != nullptr && makeWritable(*target)) {
        auto const end = event.address + std::min(event.length, c_farthest - event.address);
        clear(*target->ranges, event.address, end);
    }
}

void PerfSession::fork(PerfEvent const& event) {
    auto const parent = m_spaces.find(spaceKey(event.cpu_mode, event.parent));
    auto const inherited = parent == m_spaces.end() ? Space{} : parent->second;
    if (auto* const child = space(spaceKey(event.cpu_mode, event.pid)))
        *child = inherited;
}

std::uint32_t PerfSession::findIn(std::uint64_t key, std::uint64_t address) const {
    auto const found = m_spaces.find(key);
    if (found == m_spaces.end() || !found->second.ranges)
        return ProfileBuilder::c_none;
    auto const& ranges = *found->second.ranges;
    auto const after = ranges.upper_bound(address);
    if (after == ranges.begin() || address >= std::prev(after)->second.end)
        return ProfileBuilder::c_none;
    return std::prev(after)->second.module;
}

std::uint32_t PerfSession::find(std::uint8_t cpuMode, std::uint32_t pid,
                                std::uint64_t address) const {
    auto const found = findIn(spaceKey(cpuMode, pid), address);
    if (found != ProfileBuilder::c_none)
        return found;
    switch (cpuMode) {
    case PERF_RECORD_MISC_CPUMODE_UNKNOWN:
        return findIn(spaceKey(PERF_RECORD_MISC_KERNEL, pid), address);
    case PERF_RECORD_MISC_GUEST_KERNEL:
    case PERF_RECORD_MISC_GUEST_USER:
        // A guest that perf was told of without naming its process is process 0.
        return findIn(spaceKey(cpuMode, 0), address);
    default:
        return found;
    }
}

void PerfSession::sample(PerfEvent const& event) {
    ++m_sampleCount;
    auto const module =
        event.has_address ? find(event.cpu_mode, event.pid, event.address) : ProfileBuilder::c_none;
    auto& profile = m_builder.profile();
    if (module == ProfileBuilder::c_none)
        ++profile.unattributed_samples;
    else
        ++profile.modules[module].samples;
    if (module != ProfileBuilder::c_none && profile.modules[module].pid != event.pid &&
        profile.modules[module].kind == ModuleKind::anonymous)
        m_sharedMemory.insert(module);
    if (event.recorded < profile.events.size())
        addPeriod(event, module);
    countCallers(event, module);
}

void PerfSession::addPeriod(PerfEvent const& event, std::uint32_t module) {
    auto& profile = m_builder.profile();
    RecordedEvent& recorded = profile.events[event.recorded];
    ++recorded.samples;
    recorded.period += event.period;
    if (module == ProfileBuilder::c_none) {
        recorded.unattributed_period += event.period;
        return;
    }
    auto& periods = profile.modules[module].periods;
    if (!periods)
        periods.emplace();
    periods->resize(profile.events.size());
    (*periods)[event.recorded] += event.period;
}

void PerfSession::countCallers(PerfEvent const& event, std::uint32_t own) {
    auto& modules = m_builder.profile().modules;
    m_lastSampleOfModule.resize(modules.size());
    if (own != ProfileBuilder::c_none)
        m_lastSampleOfModule[own] = m_sampleCount;
    auto mode = event.cpu_mode;
    for (auto const address : event.call_chain) {
        switch (address) {
        case PERF_CONTEXT_KERNEL:
            mode = PERF_RECORD_MISC_KERNEL;
            continue;
        case PERF_CONTEXT_USER:
            mode = PERF_RECORD_MISC_USER;
            continue;
        case PERF_CONTEXT_GUEST_KERNEL:
            mode = PERF_RECORD_MISC_GUEST_KERNEL;
            continue;
        case PERF_CONTEXT_GUEST_USER:
            mode = PERF_RECORD_MISC_GUEST_USER;
            continue;
        default:
            break;
        }
        if (address >= PERF_CONTEXT_MAX)
            continue;
        auto const module = find(mode, event.pid, address);
        if (module != ProfileBuilder::c_none && m_lastSampleOfModule[module] != m_sampleCount) {
            m_lastSampleOfModule[module] = m_sampleCount;
            ++modules[module].caller_samples;
        }
    }
}

void PerfSession::applyNamespaces() {
    auto const host = hostNamespace();
    for (auto const& [module, inode] : m_alsoIn)
        if (inode == host)
            m_builder.profile().modules[module].mount_namespace = host;
    m_builder.setHostNamespace(host);
}

/// The mount namespace of process 1 when it is recorded, else that of the process perf told first,
/// which is the one that it started itself.
std::uint64_t PerfSession::hostNamespace() const {
    auto const init = m_spaces.find(spaceKey(PERF_RECORD_MISC_USER, 1));
    auto const known = init != m_spaces.end() && init->second.mount_namespace != 0;
    return known ? init->second.mount_namespace : m_firstNamespace;
}

void PerfSession::addBuildId(std::uint8_t cpuMode, std::uint32_t pid, std::string name,
                             std::string buildId) {
    auto const kind = kindOf(name, cpuMode);
    m_buildIdBytes += name.size() + sizeof(NamedBuildId);
    if (m_buildIdBytes > m_builder.options().max_names) {
        m_builder.errorOnce(0, "too many build-ids, the later ones are left out");
        return;
    }
    m_buildIds.push_back({std::move(name), kind, pid, std::move(buildId)});
}

/// A name gives its build-id to the mapping that is recorded without one; a name with several
/// stands for several files.
void PerfSession::applyBuildIds() {
    if (m_buildIds.empty())
        return;
    std::unordered_map<std::string, std::vector<std::uint32_t>> open;
    auto const& modules = m_builder.profile().modules;
    auto const keyOf = [](std::string_view name, ModuleKind kind) {
        // Whatever file the kernel's build-id is told of, the recording machine has one kernel.
        return std::to_string(static_cast<int>(kind)) + " " +
               std::string(kind == ModuleKind::kernel ? std::string_view{} : name);
    };
    // Served from the back: the recording machine's own files first, each in order of appearance.
    for (bool const own : {false, true})
        for (auto i = static_cast<std::uint32_t>(modules.size()); i-- > 0;)
            if (modules[i].build_id.empty() && (modules[i].mount_namespace == 0) == own)
                open[keyOf(modules[i].name, modules[i].kind)].push_back(i);
    for (auto const& one : m_buildIds) {
        auto const name = withoutStartSymbol(one.name, one.kind);
        auto const waiting = open.find(keyOf(name, one.kind));
        if (m_builder.findModule({name, one.kind, one.build_id, 0}) != ProfileBuilder::c_none)
            continue;
        if (waiting != open.end() && !waiting->second.empty()) {
            m_builder.setBuildId(waiting->second.back(), one.build_id);
            waiting->second.pop_back();
            continue;
        }
        auto const index = m_builder.module({name, one.kind, one.build_id, 0});
        if (index != ProfileBuilder::c_none && one.pid != c_noProcess)
            m_builder.profile().modules[index].pid = one.pid;
    }
}

} // namespace lokata::profile
