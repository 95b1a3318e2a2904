#pragma once

#include "read/cursor.h"
#include <lokata/profile/profile.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace lokata::profile {

/// What of a recorded event's attributes decides the layout of its records.
struct PerfAttr {
    std::uint64_t sample_type = 0;
    std::uint64_t read_format = 0;
    std::uint64_t period = 0; ///< Of each sample that tells none itself.
    bool sample_id_all = false;
};

/// The header of every record.
struct PerfRecord {
    std::uint32_t type = 0;
    std::uint16_t misc = 0;
    Cursor payload; ///< What follows the header.
};

/// A file mapped into an address space.
struct PerfMapping {
    std::string name;
    std::optional<ModuleKind> kind; ///< Empty: told by the name.
    std::string build_id;           ///< Raw bytes; empty when the record carries none.
    /// Device, inode and its generation, as raw bytes; empty when the record carries none.
    std::string inode;
    std::optional<MappedFile> file; ///< The same as numbers.
};

/// A record in the form in which it is applied, free of the input.
struct PerfEvent {
    enum class Kind : std::uint8_t { map, unmap, fork, exec, mount_namespace, sample };

    Kind kind = Kind::sample;
    std::uint8_t cpu_mode = 0;
    std::uint32_t pid = 0;
    std::uint32_t parent = 0;
    std::uint64_t time = 0;    ///< 0: not known, applies at once.
    std::uint64_t address = 0; ///< Start of the mapping, the sampled instruction, or the inode.
    std::uint64_t length = 0;
    std::uint64_t period = 0;   ///< Of a sample.
    std::uint32_t recorded = 0; ///< Of a sample: which of the attributes, in their order.
    bool has_address = true;
    std::unique_ptr<PerfMapping> mapping;  ///< Of a map.
    std::vector<std::uint64_t> call_chain; ///< Of a sample, with the marks of a context change.
};

/// Turns records into events, by the attributes that the input declares.
class PerfDecoder {
public:
    explicit PerfDecoder(bool bigEndian) : m_bigEndian(bigEndian) {}

    /// Reads one perf_event_attr of `size` bytes. False when it is too short to be one.
    bool addAttr(std::string_view attr, std::vector<std::uint64_t> const& ids);

    bool hasAttrs() const { return !m_attrs.empty(); }

    /// Empty for records that do not matter here; `damaged` is set when one is too short for what
    /// it should hold.
    std::optional<PerfEvent> decode(PerfRecord const& record, bool& damaged) const;

private:
    std::size_t attrOfSample(Cursor payload) const;
    PerfAttr const& attrOfOther(Cursor payload) const;
    std::uint64_t timeOfOther(Cursor payload) const;
    /// False for a record that does not matter here; so do the others that give a bool.
    bool decodePayload(PerfRecord const& record, PerfEvent& event, Cursor& in) const;
    void decodeMap(PerfRecord const& record, PerfEvent& event, Cursor& in) const;
    void decodeSample(PerfEvent& event, Cursor& in) const;
    static void decodeKernelSymbol(PerfEvent& event, Cursor& in);
    static bool decodeMountNamespace(PerfEvent& event, Cursor& in);

    bool m_bigEndian;
    std::vector<PerfAttr> m_attrs;
    std::unordered_map<std::uint64_t, std::size_t> m_attrOfId;
    bool m_uniform = true; ///< All attributes lay their records out alike.
};

} // namespace lokata::profile
