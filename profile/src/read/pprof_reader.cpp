#include "read/names.h"
#include "read/profile_builder.h"
#include "read/readers.h"

#include "read/profile.pb.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <google/protobuf/io/coded_stream.h>

namespace lokata::profile {

namespace {

namespace io = google::protobuf::io;

/// Field numbers of the outermost message.
enum Field : std::uint32_t {
    fieldSampleType = 1,
    fieldSample = 2,
    fieldMapping = 3,
    fieldLocation = 4,
    fieldFunction = 5,
    fieldString = 6,
    fieldPeriodType = 11,
    fieldComment = 13,
    fieldLast = 16,
};

enum WireType : std::uint32_t { wireVarint = 0, wireFixed64 = 1, wireBytes = 2, wireFixed32 = 5 };

/// Walks the fields of a message; only those of the bytes type carry content.
class Fields {
public:
    enum class Step { field, end, damaged };

    explicit Fields(std::string_view message) : m_message(message) {}

    Step next() {
        if (m_position == m_message.size())
            return Step::end;
        m_start = m_position;
        auto const left = m_message.size() - m_position;
        auto const visible = std::min<std::size_t>(left, std::numeric_limits<int>::max());
        io::CodedInputStream in(
            reinterpret_cast<std::uint8_t const*>(m_message.data() + m_position),
            static_cast<int>(visible));
        auto const tag = in.ReadTag();
        m_number = tag >> 3;
        m_wireType = tag & 7;
        m_content = {};
        std::uint64_t size = 0;
        bool read = m_number != 0;
        switch (m_wireType) {
        case wireVarint:
            read = read && in.ReadVarint64(&size);
            size = 0;
            break;
        case wireFixed64:
            size = 8;
            break;
        case wireFixed32:
            size = 4;
            break;
        case wireBytes:
            read = read && in.ReadVarint64(&size);
            break;
        default:
            read = false;
        }
        auto const header = static_cast<std::size_t>(in.CurrentPosition());
        if (!read || size > left - header) {
            m_isCutOff = read || left < c_longestHeader;
            return Step::damaged;
        }
        m_content = m_message.substr(m_position + header, static_cast<std::size_t>(size));
        m_position += header + m_content.size();
        return Step::field;
    }

    std::uint32_t number() const { return m_number; }
    std::uint32_t wireType() const { return m_wireType; }
    std::string_view content() const { return m_content; }
    std::size_t offset() const { return m_start; }
    /// Of a damaged step: that the message ends within a field is all its damage.
    bool isCutOff() const { return m_isCutOff; }

private:
    /// A tag of 32 bits and a number of 64, seven to a byte.
    static constexpr std::size_t c_longestHeader = 5 + 10;

    std::string_view m_message;
    std::string_view m_content;
    std::size_t m_position = 0;
    std::size_t m_start = 0;
    std::uint32_t m_number = 0;
    std::uint32_t m_wireType = 0;
    bool m_isCutOff = false;
};

template <class Message>
bool parses(std::string_view content, Message& message) {
    return content.size() <= std::numeric_limits<int>::max() &&
           message.ParseFromArray(content.data(), static_cast<int>(content.size()));
}

class PprofReader {
public:
    explicit PprofReader(ProfileBuilder& builder) : m_builder(builder) {}

    void read(std::string_view message) {
        collect(message);
        nameModules();
        for (auto const& [id, location] : m_locations)
            addSources(location);
        Fields fields(message);
        while (fields.next() == Fields::Step::field)
            if (fields.number() == fieldSample && fields.wireType() == wireBytes)
                countSample(fields);
    }

private:
    struct Location {
        std::uint64_t mapping = 0;
        std::vector<std::uint64_t> functions;
    };
    struct MappingNames {
        std::uint64_t id = 0;
        std::int64_t file = 0;
        std::int64_t build_id = 0;
    };

    template <class Message>
    bool parse(Fields const& fields, Message& message) {
        if (parses(fields.content(), message))
            return true;
        m_builder.error(fields.offset(), "a damaged part of the profile");
        return false;
    }

    /// Everything but the samples, which may refer to what comes after them.
    void collect(std::string_view message) {
        Fields fields(message);
        auto step = fields.next();
        for (; step == Fields::Step::field; step = fields.next())
            if (fields.wireType() == wireBytes)
                collectField(fields);
        if (step == Fields::Step::damaged)
            m_builder.error(fields.offset(), "the profile is damaged or ends early from here on");
    }

    void collectField(Fields const& fields) {
        switch (fields.number()) {
        case fieldSampleType: {
            pprof::ValueType type;
            if (parse(fields, type))
                m_units.push_back(type.unit());
            break;
        }
        case fieldMapping: {
            pprof::Mapping mapping;
            if (parse(fields, mapping))
                m_mappings.push_back({mapping.id(), mapping.filename(), mapping.build_id()});
            break;
        }
        case fieldLocation: {
            pprof::Location location;
            if (parse(fields, location)) {
                auto& kept = m_locations[location.id()];
                kept.mapping = location.mapping_id();
                for (auto const& line : location.line())
                    kept.functions.push_back(line.function_id());
            }
            break;
        }
        case fieldFunction: {
            pprof::Function function;
            if (parse(fields, function))
                m_functions[function.id()] = function.filename();
            break;
        }
        case fieldString:
            m_strings.push_back(fields.content());
            break;
        default:
            break;
        }
    }

    std::string_view string(std::int64_t index) const {
        auto const known = index >= 0 && static_cast<std::uint64_t>(index) < m_strings.size();
        return known ? m_strings[static_cast<std::size_t>(index)] : std::string_view{};
    }

    void nameModules() {
        for (auto const& mapping : m_mappings) {
            auto const name = string(mapping.file);
            // Writers without a GNU build-id put text of their own there; only hexadecimal counts.
            auto const id = buildIdFromHex(string(mapping.build_id));
            if (name.empty() && id.empty())
                continue;
            auto const kind = name.empty() ? ModuleKind::file : classifyName(name);
            m_modules[mapping.id] = m_builder.module({name, kind, bytesOf(id), 0});
        }
        for (std::size_t i = 0; i < m_units.size() && !m_countedValue; ++i)
            if (string(m_units[i]) == "count")
                m_countedValue = static_cast<int>(i);
    }

    std::uint32_t moduleOf(std::uint64_t mapping) const {
        auto const found = m_modules.find(mapping);
        return found == m_modules.end() ? ProfileBuilder::c_none : found->second;
    }

    void addSources(Location const& location) {
        auto const module = moduleOf(location.mapping);
        for (auto const id : location.functions)
            if (auto const found = m_functions.find(id); found != m_functions.end())
                m_builder.addSource(module, string(found->second));
    }

    /// A profile that counts nothing, as one of bytes alone, counts its stacks.
    std::uint64_t samplesOf(pprof::Sample const& sample) const {
        if (!m_countedValue)
            return 1;
        auto const known = *m_countedValue < sample.value_size();
        auto const value = known ? sample.value(*m_countedValue) : 0;
        return value > 0 ? static_cast<std::uint64_t>(value) : 0;
    }

    void countSample(Fields const& fields) {
        pprof::Sample sample;
        if (!parses(fields.content(), sample)) {
            m_builder.error(fields.offset(), "a damaged sample");
            return;
        }
        auto& profile = m_builder.profile();
        profile.has_samples = true;
        auto const count = samplesOf(sample);
        std::unordered_set<std::uint32_t> seen;
        for (int i = 0; i < sample.location_id_size(); ++i) {
            auto const location = m_locations.find(sample.location_id(i));
            auto const module = location == m_locations.end() ? ProfileBuilder::c_none
                                                              : moduleOf(location->second.mapping);
            if (i == 0) {
                auto& own = module == ProfileBuilder::c_none ? profile.unattributed_samples
                                                             : profile.modules[module].samples;
                own += count;
                seen.insert(module);
            } else if (module != ProfileBuilder::c_none && seen.insert(module).second) {
                profile.modules[module].caller_samples += count;
            }
        }
    }

    ProfileBuilder& m_builder;
    std::vector<std::int64_t> m_units;
    std::vector<std::string_view> m_strings;
    std::vector<MappingNames> m_mappings;
    std::unordered_map<std::uint64_t, Location> m_locations;
    std::unordered_map<std::uint64_t, std::int64_t> m_functions;
    std::unordered_map<std::uint64_t, std::uint32_t> m_modules;
    std::optional<int> m_countedValue;
};

/// Field by field the form that profile.proto of pprof gives them.
bool isFieldOfProfile(Fields const& fields) {
    switch (fields.number()) {
    case fieldSampleType:
    case fieldSample:
    case fieldMapping:
    case fieldLocation:
    case fieldFunction:
    case fieldString:
    case fieldPeriodType:
        return fields.wireType() == wireBytes;
    case fieldComment:
        return fields.wireType() == wireBytes || fields.wireType() == wireVarint;
    default:
        return fields.number() <= fieldLast && fields.wireType() == wireVarint;
    }
}

/// A message that is made of the fields of a profile up to its end or to where it was cut off, with
/// the type of a sample or a mapping among them.
bool isPprof(std::string_view content) {
    bool isNamed = false;
    Fields fields(content);
    for (auto step = fields.next(); step != Fields::Step::end; step = fields.next()) {
        if (step == Fields::Step::damaged)
            return isNamed && fields.isCutOff();
        if (!isFieldOfProfile(fields))
            return false;
        pprof::ValueType type;
        pprof::Mapping mapping;
        isNamed = isNamed ||
                  (fields.number() == fieldSampleType && parses(fields.content(), type)) ||
                  (fields.number() == fieldMapping && parses(fields.content(), mapping));
    }
    return isNamed;
}

Profile readPprof(std::string_view content, ReadOptions const& options) {
    ProfileBuilder builder(options);
    PprofReader(builder).read(content);
    return builder.take();
}

} // namespace

extern FormatReader const c_pprof{{"pprof", "a profile of pprof"}, isPprof, readPprof};

} // namespace lokata::profile
