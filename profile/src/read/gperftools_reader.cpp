#include "read/cursor.h"
#include "read/maps.h"
#include "read/names.h"
#include "read/profile_builder.h"
#include "read/readers.h"
#include "read/text_lines.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace lokata::profile {

namespace {

/// Numbers of one size, 4 or 8 bytes, that the process had by its architecture.
struct Slots {
    bool wide = false;
    bool big_endian = false;

    std::uint64_t next(Cursor& in) const { return wide ? in.u64() : in.u32(); }
    std::uint64_t size() const { return wide ? 8 : 4; }
};

/// Zero, the number of slots of the header that follow, the version. Empty for other content.
std::optional<Slots> slotsOf(std::string_view content) {
    constexpr std::uint64_t c_least = 3;
    constexpr std::uint64_t c_most = 64;
    for (bool const wide : {true, false})
        for (bool const bigEndian : {false, true}) {
            Slots const slots{wide, bigEndian};
            Cursor in(content, bigEndian);
            bool const startsWithZero = slots.next(in) == 0;
            auto const header = slots.next(in);
            auto const version = slots.next(in);
            if (startsWithZero && header >= c_least && header <= c_most && version == 0 && in.ok())
                return slots;
        }
    return std::nullopt;
}

class GperftoolsReader {
public:
    GperftoolsReader(std::string_view content, Slots slots, ProfileBuilder& builder)
        : m_content(content), m_slots(slots), m_builder(builder) {}

    /// The list of mappings stands behind the samples that fall into them.
    void read() {
        Cursor in(m_content, m_slots.big_endian);
        m_slots.next(in);
        in.skipEntries(m_slots.next(in), m_slots.size());
        Cursor const samples = in;
        eachSample(in, [](std::uint64_t, Cursor&) {});
        if (!in.ok()) {
            m_builder.error(m_content.size(), "the samples are cut off, the mappings are missing");
            return;
        }
        readMappings(in.rest(), m_content.size());
        m_builder.profile().has_samples = true;
        in = samples;
        eachSample(in, [&](std::uint64_t count, Cursor& stack) { countStack(count, stack); });
    }

private:
    struct Range {
        std::uint64_t end = 0;
        std::uint32_t module = 0;
    };

    /// A count of 0 with one address of 0 ends the list.
    template <class Take>
    void eachSample(Cursor& in, Take const& take) const {
        while (in.ok()) {
            auto const count = m_slots.next(in);
            auto const depth = m_slots.next(in);
            Cursor first = in;
            Cursor bytes = in;
            in.skipEntries(depth, m_slots.size());
            if (!in.ok() || (count == 0 && depth == 1 && m_slots.next(first) == 0))
                return;
            Cursor stack(bytes.bytes(depth * m_slots.size()), m_slots.big_endian);
            take(count, stack);
        }
    }

    /// As /proc/PID/maps has them. A line "build=TEXT" gives what "$build" in later names stands
    /// for.
    void readMappings(std::string_view text, std::size_t end) {
        constexpr std::string_view c_assignment = "build=";
        constexpr std::string_view c_variable = "$build";
        std::string_view build;
        std::string_view line;
        for (Lines lines(text); lines.next(line);) {
            if (line.substr(0, c_assignment.size()) == c_assignment) {
                build = line.substr(c_assignment.size());
                continue;
            }
            auto const mapping = parseMapsLine(line);
            if (!mapping && !trimLeft(line).empty())
                m_builder.error(end - text.size() + lines.offset(), "not a line of a memory map");
            if (!mapping || !mapping->executable || mapping->name.empty())
                continue;
            std::string name = unescapeMapsName(mapping->name);
            if (auto const at = name.find(c_variable); at != std::string::npos)
                name.replace(at, c_variable.size(), build);
            auto const module = m_builder.module({name, classifyName(name), {}, 0, mapping->file});
            if (module != ProfileBuilder::c_none)
                m_ranges[mapping->start] = {mapping->end, module};
        }
    }

    std::uint32_t moduleAt(std::uint64_t address) const {
        auto const after = m_ranges.upper_bound(address);
        if (after == m_ranges.begin() || std::prev(after)->second.end <= address)
            return ProfileBuilder::c_none;
        return std::prev(after)->second.module;
    }

    /// The sampled instruction, then the addresses to which its callers return, each behind the
    /// call.
    void countStack(std::uint64_t count, Cursor& stack) {
        Profile& profile = m_builder.profile();
        std::uint32_t const own = moduleAt(m_slots.next(stack));
        (own == ProfileBuilder::c_none ? profile.unattributed_samples
                                       : profile.modules[own].samples) += count;
        std::set<std::uint32_t> seen{own, ProfileBuilder::c_none};
        while (stack.remaining() > 0)
            if (auto const caller = moduleAt(m_slots.next(stack) - 1); seen.insert(caller).second)
                profile.modules[caller].caller_samples += count;
    }

    std::string_view m_content;
    Slots m_slots;
    ProfileBuilder& m_builder;
    std::map<std::uint64_t, Range> m_ranges; ///< By their start.
};

bool isGperftools(std::string_view content) {
    return slotsOf(content).has_value();
}

Profile readGperftools(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    if (auto const slots = slotsOf(content))
        GperftoolsReader(content, *slots, builder).read();
    else
        builder.error(0, "not a CPU profile of gperftools, or cut off in its header");
    return builder.take();
}

} // namespace

/// As docs/cpuprofile-fileformat.html of gperftools describes it.
extern FormatReader const c_gperftools{
    {"gperftools", "a CPU profile of gperftools"}, isGperftools, readGperftools};

} // namespace lokata::profile
