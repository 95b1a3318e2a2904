#pragma once

#include "read/perf/perf_events.h"
#include "read/profile_builder.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace lokata::profile {

/// Replays recorded events in the order of their time and attributes each sample to the module
/// that was mapped where it fell.
class PerfSession {
public:
    /// `inputSize` bounds, with a generous share, the mappings that are made in all.
    PerfSession(ProfileBuilder& builder, std::size_t inputSize);

    /// Takes an event in the order of the input.
    void add(PerfEvent event);

    /// Events from here on are not older than those before the previous mark.
    void finishedRound();

    /// A build-id that is recorded apart from the mappings.
    void addBuildId(std::uint8_t cpuMode, std::uint32_t pid, std::string name, std::string buildId);

    /// Applies what is still held back. Nothing may be added after it.
    void finish();

private:
    struct Range {
        std::uint64_t end = 0;
        std::uint32_t module = 0;
    };
    using Ranges = std::map<std::uint64_t, Range>;
    /// The mappings of a process; shared with its children until one of them changes.
    struct Space {
        std::shared_ptr<Ranges> ranges; ///< Null: none.
        std::uint64_t mount_namespace = 0;
    };
    struct NamedBuildId {
        std::string name;
        ModuleKind kind = ModuleKind::file;
        std::uint32_t pid = 0;
        std::string build_id;
    };

    static void clear(Ranges& ranges, std::uint64_t start, std::uint64_t end);

    void flush(std::uint64_t upTo);
    void apply(PerfEvent const& event);
    void map(PerfEvent const& event);
    void unmap(PerfEvent const& event);
    void fork(PerfEvent const& event);
    void sample(PerfEvent const& event);
    void addPeriod(PerfEvent const& event, std::uint32_t module);
    void countCallers(PerfEvent const& event, std::uint32_t own);
    std::uint32_t moduleOf(PerfEvent const& event, std::uint64_t mountNamespace);
    void applyBuildIds();
    void applyNamespaces();
    std::uint64_t hostNamespace() const;

    /// The space of that key, made if new; null when there are too many.
    Space* space(std::uint64_t key);
    bool makeWritable(Space& space);
    std::uint32_t find(std::uint8_t cpuMode, std::uint32_t pid, std::uint64_t address) const;
    std::uint32_t findIn(std::uint64_t key, std::uint64_t address) const;

    ProfileBuilder& m_builder;
    std::uint64_t m_maxRanges;
    std::vector<PerfEvent> m_pending;
    std::uint64_t m_pendingBytes = 0;
    std::uint64_t m_newest = 0;
    std::uint64_t m_newestOfLastRound = 0;
    std::unordered_map<std::uint64_t, Space> m_spaces;
    std::uint64_t m_rangesMade = 0;
    std::uint64_t m_firstNamespace = 0;
    /// The module of each file that is told apart by its inode or build-id.
    std::unordered_map<std::string, std::uint32_t> m_files;
    std::uint64_t m_fileBytes = 0;
    /// Other mount namespaces that a module of m_files was seen in.
    std::set<std::pair<std::uint32_t, std::uint64_t>> m_alsoIn;
    /// Memory without a file in which several processes were sampled; each has its own of that
    /// name.
    std::set<std::uint32_t> m_sharedMemory;
    std::vector<std::uint64_t> m_lastSampleOfModule;
    std::uint64_t m_sampleCount = 0;
    std::vector<NamedBuildId> m_buildIds;
    std::uint64_t m_buildIdBytes = 0;
};

} // namespace lokata::profile
