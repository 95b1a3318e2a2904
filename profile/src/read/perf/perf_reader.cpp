#include "read/byte_source.h"
#include "read/cursor.h"
#include "read/perf/perf_events.h"
#include "read/perf/perf_session.h"
#include "read/profile_builder.h"
#include "read/readers.h"

#include <unpack/zstd_stream.h>

#include <algorithm>
#include <limits>
#include <string>

#include <linux/perf_event.h>

namespace lokata::profile {

namespace {

/// Records that perf itself writes: tools/lib/perf/include/perf/event.h.
enum UserRecord : std::uint32_t {
    recordAttr = 64,
    recordTracingData = 66,
    recordBuildId = 67,
    recordFinishedRound = 68,
    recordAuxtrace = 71,
    recordFeature = 80,
    recordCompressed = 81,
    recordCompressed2 = 83,
};

/// Bits of the feature bitmap: tools/perf/Documentation/perf.data-file-format.txt.
enum Feature : unsigned {
    featureBuildId = 2,
    featureHostName = 3,
    featureOsRelease = 4,
    featureArch = 6,
    featureEventDesc = 12,
    featureCount = 256,
};

/// Recordings have a handful; the periods of each are kept for each module.
constexpr std::size_t c_maxEvents = 32;
constexpr std::size_t c_recordHeader = 8;
constexpr std::uint64_t c_pipeHeader = 16;
constexpr std::uint64_t c_section = 16;
/// Instead of a length: the records behind are lost.
constexpr std::uint64_t c_lost = std::numeric_limits<std::uint64_t>::max();
/// Set in a build-id record that tells the length of the build-id.
constexpr std::uint16_t c_miscBuildIdSize = 1U << 15;

struct Section {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

class PerfReader {
public:
    PerfReader(ByteSource const& content, ProfileBuilder& builder)
        : m_content(content)
        , m_bigEndian(content.bytes(0, 1, m_buffer) == "2")
        , m_builder(builder)
        , m_decoder(m_bigEndian)
        , m_session(builder, content.size())
        , m_zstd(unpackLimit(builder.options(), builder.options().max_inflated, content.size())) {}

    void read() {
        constexpr std::uint64_t c_fileHeader = 72 + featureCount / 8;
        std::string header;
        Cursor in(m_content.bytes(0, c_fileHeader, header), m_bigEndian);
        auto const magic = in.bytes(8);
        auto const headerSize = in.u64();
        if (magic == "PERFFILE") {
            m_builder.error(0, "a perf.data file of the first version, which is not supported");
            return;
        }
        if (!in.ok() || (magic != "PERFILE2" && magic != "2ELIFREP")) {
            m_builder.error(0, "not a perf.data file, or cut off in its header");
            return;
        }
        if (headerSize == c_pipeHeader) {
            m_isPipe = true;
            readData({c_pipeHeader, m_content.size() - c_pipeHeader});
        } else {
            readFile(in);
        }
        endCompressed();
        m_session.finish();
        dropUnusedEvents();
    }

private:
    void readFile(Cursor& in) {
        auto const attrSize = in.u64();
        auto const attrs = section(in);
        auto data = section(in);
        section(in);
        std::vector<std::uint64_t> features;
        for (unsigned i = 0; i < featureCount / 64; ++i)
            features.push_back(in.u64());
        if (!in.ok()) {
            m_builder.error(in.offset(), "cut off in the file header");
            return;
        }
        readAttrs(attrs, attrSize);
        bool const finished = data.size != 0 || data.offset >= m_content.size();
        if (!finished) {
            // perf writes the size, and what follows the data, when it ends.
            m_builder.error(data.offset, "the recording was not finished, build-ids and other "
                                         "features are missing");
            data.size = m_content.size() - data.offset;
        }
        readData(clipped(data, "the data section"));
        if (finished)
            readFeatures(data, features);
    }

    static Section section(Cursor& in) {
        Section read;
        read.offset = in.u64();
        read.size = in.u64();
        return read;
    }

    /// What of a section lies in the input.
    Section clipped(Section const& wanted, std::string const& what) {
        auto const start = std::min<std::uint64_t>(wanted.offset, m_content.size());
        auto const size = std::min<std::uint64_t>(wanted.size, m_content.size() - start);
        if (size < wanted.size)
            m_builder.error(start + size, what + " is cut off");
        return {start, size};
    }

    /// What the input holds of a section other than that of the data, which are all small.
    std::string_view clip(Section const& wanted, std::string const& what, std::string& buffer) {
        constexpr std::uint64_t c_most = 64UL << 20;
        auto const there = clipped({wanted.offset, std::min(wanted.size, c_most)}, what);
        return m_content.bytes(there.offset, there.size, buffer);
    }

    void readAttrs(Section const& attrs, std::uint64_t attrSize) {
        std::string buffer;
        std::string idBuffer;
        auto const bytes = clip(attrs, "the attribute section", buffer);
        if (attrSize <= c_section || bytes.size() < attrSize) {
            m_builder.error(attrs.offset, "no event attributes, samples cannot be read");
            return;
        }
        Cursor in(bytes, m_bigEndian, attrs.offset);
        while (in.remaining() >= attrSize) {
            auto const start = in.offset();
            auto const attr = in.bytes(attrSize - c_section);
            Cursor ids(clip(section(in), "a list of event ids", idBuffer), m_bigEndian);
            addAttr(attr, ids, start);
        }
    }

    void addAttr(std::string_view attr, Cursor& ids, std::uint64_t offset) {
        constexpr std::size_t c_maxIds = 1U << 20;
        std::vector<std::uint64_t> values;
        while (ids.remaining() >= 8 && m_idCount < c_maxIds) {
            values.push_back(ids.u64());
            ++m_idCount;
        }
        auto& events = m_builder.profile().events;
        if (!m_decoder.addAttr(attr, values))
            m_builder.error(offset, "an event attribute is too short");
        else if (events.size() < c_maxEvents)
            events.emplace_back();
        else
            m_builder.errorOnce(offset,
                                "more than 32 events, the periods of the others are left out");
    }

    /// The names of the events, in the order of their attributes.
    void readEventNames(Cursor& in) {
        auto const count = in.u32();
        auto const attrSize = in.u32();
        auto& events = m_builder.profile().events;
        for (std::size_t i = 0; i < std::min<std::size_t>(count, events.size()) && in.ok(); ++i) {
            in.skip(attrSize);
            auto const ids = in.u32();
            events[i].name = readText(in);
            in.skipEntries(ids, 8);
        }
    }

    /// Drops what no sample was taken of, such as the event by which perf follows processes.
    void dropUnusedEvents() {
        auto& profile = m_builder.profile();
        auto const isUnused = [&](std::size_t i) { return profile.events[i].samples == 0; };
        for (std::size_t i = profile.events.size(); i-- > 0;) {
            if (!isUnused(i))
                continue;
            auto const at = static_cast<std::ptrdiff_t>(i);
            profile.events.erase(profile.events.begin() + at);
            for (Module& module : profile.modules)
                if (module.periods && i < module.periods->size())
                    module.periods->erase(module.periods->begin() + at);
        }
        for (Module& module : profile.modules)
            if (module.periods)
                module.periods->resize(profile.events.size());
    }

    /// All whole records of `bytes`, each given to `take`, which gives the number of bytes that
    /// follow it without being a record. The length of what was read and is to be passed over,
    /// which may lie behind `bytes`; c_lost when nothing tells where the next record starts.
    template <class Take>
    std::uint64_t eachRecord(std::string_view bytes, std::uint64_t base, bool complete, Take take) {
        std::size_t at = 0;
        while (bytes.size() - at >= c_recordHeader) {
            Cursor in(bytes.substr(at), m_bigEndian, base + at);
            auto const type = in.u32();
            auto const misc = in.u16();
            auto const size = in.u16();
            if (size < c_recordHeader) {
                m_builder.error(base + at, "a record of impossible size, the rest cannot be read");
                m_lost = true;
                return c_lost;
            }
            if (size > bytes.size() - at)
                break;
            auto const payload = in.bytes(size - c_recordHeader);
            std::uint64_t const trailing =
                take(PerfRecord{type, misc, Cursor(payload, m_bigEndian)}, base + at);
            at += size;
            if (trailing > bytes.size() - at)
                return trailing < c_lost - at ? at + trailing : c_lost;
            at += static_cast<std::size_t>(trailing);
        }
        if (complete && at < bytes.size())
            m_builder.error(base + at, "a record is cut off");
        return at;
    }

    /// The records of the data section, a window of it at a time: a recording may be larger than
    /// the memory.
    void readData(Section const& data) {
        constexpr std::uint64_t c_window = 4UL << 20;
        auto const end = data.offset + data.size;
        for (auto at = data.offset; at < end;) {
            auto const bytes = m_content.bytes(at, std::min(c_window, end - at), m_buffer);
            bool const isLast = bytes.size() < c_window || at + bytes.size() == end;
            auto const taken = readRecords(bytes, at, isLast);
            if (taken > end - at && taken != c_lost)
                m_builder.error(end, "trace data is cut off");
            if (taken > end - at || taken == 0 || (isLast && taken <= bytes.size()))
                return;
            at += taken;
        }
    }

    std::uint64_t readRecords(std::string_view bytes, std::uint64_t base, bool complete = true) {
        return eachRecord(
            bytes, base, complete,
            [&](PerfRecord const& record, std::uint64_t offset) {
                return readRecord(record, offset);
            });
    }

    /// The list in the build-id feature, whose records carry no type.
    void readBuildIds(std::string_view bytes, std::uint64_t base) {
        eachRecord(
            bytes, base, true,
            [&](PerfRecord const& record, std::uint64_t offset) {
                readBuildId(record, offset);
                return std::uint64_t{0};
            });
    }

    /// The number of bytes that follow the record without being records.
    std::uint64_t readRecord(PerfRecord const& record, std::uint64_t offset) {
        Cursor in = record.payload;
        switch (record.type) {
        case recordAttr: {
            Cursor sized = in;
            sized.skip(4);
            auto const attr = in.bytes(std::max<std::uint32_t>(sized.u32(), 64));
            addAttr(attr, in, offset);
            return 0;
        }
        case recordBuildId:
            readBuildId(record, offset);
            return 0;
        case recordFinishedRound:
            m_session.finishedRound();
            return 0;
        case recordTracingData:
            return m_isPipe ? (std::uint64_t{in.u32()} + 7) / 8 * 8 : 0;
        case recordAuxtrace:
            return in.u64();
        case recordFeature: {
            auto const feature = in.u64();
            readFeature(feature, in);
            return 0;
        }
        case recordCompressed:
            readCompressed(in.rest(), offset);
            return 0;
        case recordCompressed2:
            readCompressed(in.bytes(in.u64()), offset);
            return 0;
        default:
            break;
        }
        bool damaged = false;
        auto event = m_decoder.decode(record, damaged);
        if (event) {
            m_session.add(std::move(*event));
        } else if (damaged) {
            m_builder.error(offset, m_decoder.hasAttrs() ? "a record is damaged"
                                                         : "a record without event attributes");
        }
        return 0;
    }

    /// Compressed records form one stream, which may end within a record.
    void readCompressed(std::string_view packed, std::uint64_t offset) {
        if (m_inCompressed) {
            m_builder.error(offset, "compressed records within compressed records");
            return;
        }
        m_inCompressed = true;
        m_compressedOffset = offset;
        for (auto step = unpack::ZstdStream::Step::more;
             step == unpack::ZstdStream::Step::more && !m_lost;) {
            step = m_zstd.next(packed, m_inflated);
            auto const taken = readRecords(m_inflated, offset, false);
            if (taken > m_inflated.size() && taken != c_lost)
                m_builder.error(offset, "trace data is cut off");
            m_inflated.erase(0, taken);
        }
        if (!m_zstd.error().empty())
            m_builder.errorOnce(offset, "the stream of compressed records " + m_zstd.error());
        m_inCompressed = false;
    }

    void endCompressed() {
        if (!m_inflated.empty())
            m_builder.error(m_compressedOffset, "the compressed records end within a record");
    }

    void readBuildId(PerfRecord const& record, std::uint64_t offset) {
        constexpr std::size_t c_longest = 20;
        Cursor in = record.payload;
        auto const pid = in.u32();
        auto id = in.bytes(c_longest);
        std::size_t size = in.u8();
        in.skip(3);
        auto const name = in.text();
        if (!in.ok()) {
            m_builder.error(offset, "a build-id record is cut off");
            return;
        }
        // Without a length recorded a shorter build-id is one that was filled up with zeros.
        if ((record.misc & c_miscBuildIdSize) == 0)
            size = id.substr(16) == std::string_view("\0\0\0\0", 4) ? 16 : c_longest;
        id = id.substr(0, size);
        if (isBuildId(id) && !name.empty())
            m_session.addBuildId(
                static_cast<std::uint8_t>(record.misc & PERF_RECORD_MISC_CPUMODE_MASK), pid,
                std::string(name), std::string(id));
    }

    /// The sections of the features stand behind the data, in the order of their bits.
    void readFeatures(Section const& data, std::vector<std::uint64_t> const& features) {
        std::string table;
        std::string buffer;
        if (data.offset > m_content.size() || data.size > m_content.size() - data.offset) {
            m_builder.error(m_content.size(), "the features are cut off, build-ids are missing");
            return;
        }
        auto const start = data.offset + data.size;
        Cursor in(m_content.bytes(start, featureCount * c_section, table), m_bigEndian, start);
        for (unsigned bit = 0; bit < featureCount; ++bit) {
            if ((features[bit / 64] >> bit % 64 & 1) == 0)
                continue;
            auto const wanted = section(in);
            if (!in.ok()) {
                m_builder.error(in.offset(), "the table of features is cut off");
                return;
            }
            if (bit == featureBuildId) {
                readBuildIds(clip(wanted, "the list of build-ids", buffer), wanted.offset);
            } else if (bit == featureHostName || bit == featureOsRelease || bit == featureArch ||
                       bit == featureEventDesc) {
                Cursor content(clip(wanted, "a feature", buffer), m_bigEndian);
                readFeature(bit, content);
            }
        }
    }

    /// Behind its length, which counts the zeros that fill it up.
    std::string_view readText(Cursor& in) const {
        auto const length = in.u32();
        return Cursor(in.bytes(std::min<std::uint64_t>(length, in.remaining())), m_bigEndian)
            .text();
    }

    void readFeature(std::uint64_t feature, Cursor& in) {
        switch (feature) {
        case featureHostName:
            m_builder.profile().host_name = readText(in);
            break;
        case featureOsRelease:
            m_builder.profile().kernel_release = readText(in);
            break;
        case featureArch:
            m_builder.profile().architecture = readText(in);
            break;
        case featureEventDesc:
            readEventNames(in);
            break;
        default:
            break;
        }
    }

    ByteSource const& m_content;
    std::string m_buffer; ///< Of the window that is read.
    bool m_bigEndian;
    bool m_isPipe = false;
    ProfileBuilder& m_builder;
    PerfDecoder m_decoder;
    PerfSession m_session;
    std::size_t m_idCount = 0;
    unpack::ZstdStream m_zstd;
    bool m_lost = false; ///< Where records start is not known any more.
    bool m_inCompressed = false;
    std::string m_inflated;
    std::uint64_t m_compressedOffset = 0;
};

bool isPerfData(std::string_view content) {
    std::string_view const magic = content.substr(0, 8);
    return magic == "PERFILE2" || magic == "2ELIFREP" || magic == "PERFFILE";
}

Profile readPerfParts(ByteSource const& source, ReadOptions const& options) {
    ProfileBuilder builder(options);
    PerfReader(source, builder).read();
    return builder.take([](Module const& one) {
        return !one.build_id.empty() || one.samples > 0 || one.caller_samples > 0;
    });
}

Profile readPerfData(std::string_view content, ReadOptions const& options) {
    return readPerfParts(MemorySource(content), options);
}

} // namespace

/// In file and in pipe mode and in either byte order, as
/// tools/perf/Documentation/perf.data-file-format.txt and <linux/perf_event.h> describe it.
extern FormatReader const c_perfData{
    {"perf", "perf.data of perf record"}, isPerfData, readPerfData, readPerfParts};

} // namespace lokata::profile
