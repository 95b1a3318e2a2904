#include "read/perf/perf_events.h"

#include <algorithm>
#include <initializer_list>

#include <linux/perf_event.h>

namespace lokata::profile {

namespace {

/// A bit of the flag word of perf_event_attr. It is a C bit-field there, which compilers fill
/// from the other end on a big-endian machine.
bool attrFlag(std::uint64_t word, unsigned index, bool bigEndian) {
    return (word >> (bigEndian ? 63 - index : index) & 1) != 0;
}

constexpr unsigned c_sampleIdAllFlag = 18;

unsigned count(std::uint64_t type, std::initializer_list<std::uint64_t> bits) {
    unsigned present = 0;
    for (auto const bit : bits)
        present += (type & bit) != 0 ? 1 : 0;
    return present;
}

/// The sample_id that ends every other record, in words of eight bytes.
unsigned trailerWords(std::uint64_t type) {
    return count(type, {PERF_SAMPLE_TID, PERF_SAMPLE_TIME, PERF_SAMPLE_ID, PERF_SAMPLE_STREAM_ID,
                        PERF_SAMPLE_CPU, PERF_SAMPLE_IDENTIFIER});
}

/// The word `back` places before the end of the payload; 0 when it is shorter.
std::uint64_t wordFromEnd(Cursor payload, unsigned back) {
    if (payload.remaining() < 8ULL * back || back == 0)
        return 0;
    payload.skip(payload.remaining() - 8ULL * back);
    return payload.u64();
}

void skipReadFormat(Cursor& in, std::uint64_t format) {
    auto const times =
        count(format, {PERF_FORMAT_TOTAL_TIME_ENABLED, PERF_FORMAT_TOTAL_TIME_RUNNING});
    auto const perValue = 1 + count(format, {PERF_FORMAT_ID, PERF_FORMAT_LOST});
    if ((format & PERF_FORMAT_GROUP) != 0) {
        auto const values = in.u64();
        in.skip(8ULL * times);
        in.skipEntries(values, 8ULL * perValue);
    } else {
        in.skip(8ULL * (times + perValue));
    }
}

} // namespace

bool PerfDecoder::addAttr(std::string_view attr, std::vector<std::uint64_t> const& ids) {
    Cursor in(attr, m_bigEndian);
    in.skip(16);
    PerfAttr added;
    added.period = in.u64();
    added.sample_type = in.u64();
    added.read_format = in.u64();
    added.sample_id_all = attrFlag(in.u64(), c_sampleIdAllFlag, m_bigEndian);
    if (!in.ok())
        return false;
    if (!m_attrs.empty()) {
        auto const& first = m_attrs.front();
        m_uniform = m_uniform && first.sample_type == added.sample_type &&
                    first.read_format == added.read_format &&
                    first.sample_id_all == added.sample_id_all;
    }
    for (auto const id : ids)
        m_attrOfId[id] = m_attrs.size();
    m_attrs.push_back(added);
    return true;
}

std::size_t PerfDecoder::attrOfSample(Cursor payload) const {
    auto const type = m_attrs.front().sample_type;
    if (m_attrs.size() == 1 || (type & (PERF_SAMPLE_IDENTIFIER | PERF_SAMPLE_ID)) == 0)
        return 0;
    if ((type & PERF_SAMPLE_IDENTIFIER) == 0)
        payload.skip(8ULL * count(type, {PERF_SAMPLE_IP, PERF_SAMPLE_TID, PERF_SAMPLE_TIME,
                                         PERF_SAMPLE_ADDR}));
    auto const found = m_attrOfId.find(payload.u64());
    return found == m_attrOfId.end() ? 0 : found->second;
}

PerfAttr const& PerfDecoder::attrOfOther(Cursor payload) const {
    auto const type = m_attrs.front().sample_type;
    if (m_uniform || (type & (PERF_SAMPLE_IDENTIFIER | PERF_SAMPLE_ID)) == 0)
        return m_attrs.front();
    auto const back = (type & PERF_SAMPLE_IDENTIFIER) != 0
                          ? 1
                          : 1 + count(type, {PERF_SAMPLE_STREAM_ID, PERF_SAMPLE_CPU});
    auto const found = m_attrOfId.find(wordFromEnd(payload, back));
    return m_attrs[found == m_attrOfId.end() ? 0 : found->second];
}

std::uint64_t PerfDecoder::timeOfOther(Cursor payload) const {
    if (m_attrs.empty())
        return 0;
    auto const& attr = attrOfOther(payload);
    if (!attr.sample_id_all || (attr.sample_type & PERF_SAMPLE_TIME) == 0)
        return 0;
    return wordFromEnd(payload, trailerWords(attr.sample_type & ~std::uint64_t{PERF_SAMPLE_TID}));
}

void PerfDecoder::decodeMap(PerfRecord const& record, PerfEvent& event, Cursor& in) const {
    event.kind = PerfEvent::Kind::map;
    event.pid = in.u32();
    in.skip(4);
    event.address = in.u64();
    event.length = in.u64();
    in.skip(8);
    event.mapping = std::make_unique<PerfMapping>();
    if (record.type == PERF_RECORD_MMAP2) {
        if ((record.misc & PERF_RECORD_MISC_MMAP_BUILD_ID) != 0) {
            auto const size = in.u8();
            in.skip(3);
            auto const id = in.bytes(20);
            event.mapping->build_id = id.substr(0, size);
        } else {
            Cursor numbers = in;
            MappedFile file;
            file.device_major = numbers.u32();
            file.device_minor = numbers.u32();
            file.inode = numbers.u64();
            auto const inode = in.bytes(24);
            if (file.inode != 0) {
                event.mapping->inode = inode;
                event.mapping->file = file;
            }
        }
        in.skip(8);
    }
    event.mapping->name = in.text();
}

void PerfDecoder::decodeSample(PerfEvent& event, Cursor& in) const {
    event.kind = PerfEvent::Kind::sample;
    auto const index = attrOfSample(in);
    auto const& attr = m_attrs[index];
    event.recorded = static_cast<std::uint32_t>(index);
    auto const has = [&](std::uint64_t bit) { return (attr.sample_type & bit) != 0; };
    in.skip(has(PERF_SAMPLE_IDENTIFIER) ? 8 : 0);
    event.has_address = has(PERF_SAMPLE_IP);
    event.address = event.has_address ? in.u64() : 0;
    if (has(PERF_SAMPLE_TID)) {
        event.pid = in.u32();
        in.skip(4);
    }
    event.time = has(PERF_SAMPLE_TIME) ? in.u64() : 0;
    in.skip(8ULL * count(attr.sample_type, {PERF_SAMPLE_ADDR, PERF_SAMPLE_ID, PERF_SAMPLE_STREAM_ID,
                                            PERF_SAMPLE_CPU}));
    event.period = has(PERF_SAMPLE_PERIOD) ? in.u64() : std::max<std::uint64_t>(attr.period, 1);
    if (has(PERF_SAMPLE_READ))
        skipReadFormat(in, attr.read_format);
    if (has(PERF_SAMPLE_CALLCHAIN)) {
        auto entries = Cursor(in);
        auto const length = entries.u64();
        in.skip(8);
        in.skipEntries(length, 8);
        if (in.ok()) {
            event.call_chain.reserve(length);
            for (std::uint64_t i = 0; i < length; ++i)
                event.call_chain.push_back(entries.u64());
        }
    }
}

void PerfDecoder::decodeKernelSymbol(PerfEvent& event, Cursor& in) {
    event.cpu_mode = PERF_RECORD_MISC_KERNEL;
    event.address = in.u64();
    event.length = in.u32();
    auto const symbolType = in.u16();
    auto const flags = in.u16();
    event.kind = (flags & PERF_RECORD_KSYMBOL_FLAGS_UNREGISTER) != 0 ? PerfEvent::Kind::unmap
                                                                     : PerfEvent::Kind::map;
    event.mapping = std::make_unique<PerfMapping>();
    event.mapping->kind =
        symbolType == PERF_RECORD_KSYMBOL_TYPE_BPF ? ModuleKind::bpf : ModuleKind::anonymous;
    event.mapping->name = in.text();
}

bool PerfDecoder::decodeMountNamespace(PerfEvent& event, Cursor& in) {
    event.kind = PerfEvent::Kind::mount_namespace;
    event.pid = in.u32();
    in.skip(4);
    if (in.u64() <= MNT_NS_INDEX)
        return false;
    in.skip(16 * MNT_NS_INDEX + 8);
    event.address = in.u64();
    return true;
}

bool PerfDecoder::decodePayload(PerfRecord const& record, PerfEvent& event, Cursor& in) const {
    switch (record.type) {
    case PERF_RECORD_MMAP:
    case PERF_RECORD_MMAP2:
        if ((record.misc & PERF_RECORD_MISC_MMAP_DATA) != 0)
            return false;
        decodeMap(record, event, in);
        return true;
    case PERF_RECORD_KSYMBOL:
        decodeKernelSymbol(event, in);
        return true;
    case PERF_RECORD_FORK:
        event.kind = PerfEvent::Kind::fork;
        event.pid = in.u32();
        event.parent = in.u32();
        // A process that perf found running is told as forked, but its mappings follow.
        return event.pid != event.parent && (record.misc & PERF_RECORD_MISC_FORK_EXEC) == 0;
    case PERF_RECORD_COMM:
        event.kind = PerfEvent::Kind::exec;
        event.pid = in.u32();
        return (record.misc & PERF_RECORD_MISC_COMM_EXEC) != 0;
    case PERF_RECORD_NAMESPACES:
        return decodeMountNamespace(event, in);
    case PERF_RECORD_SAMPLE:
        decodeSample(event, in);
        return true;
    default:
        return false;
    }
}

std::optional<PerfEvent> PerfDecoder::decode(PerfRecord const& record, bool& damaged) const {
    bool const isSample = record.type == PERF_RECORD_SAMPLE;
    if (isSample && m_attrs.empty()) {
        damaged = true;
        return std::nullopt;
    }
    PerfEvent event;
    event.cpu_mode = static_cast<std::uint8_t>(record.misc & PERF_RECORD_MISC_CPUMODE_MASK);
    Cursor in = record.payload;
    if (!decodePayload(record, event, in))
        return std::nullopt;
    damaged = !in.ok();
    if (damaged)
        return std::nullopt;
    if (!isSample)
        event.time = timeOfOther(record.payload);
    return event;
}

} // namespace lokata::profile
