#pragma once

#include <lokata/profile/export.h>

#include "bytes.h"

#include <string>
#include <utility>
#include <vector>

#include <linux/perf_event.h>

namespace lokata::profile::test {

/// Writes perf.data content record by record.
class PerfFile {
public:
    static constexpr std::uint64_t c_sampleType =
        PERF_SAMPLE_IP | PERF_SAMPLE_TID | PERF_SAMPLE_TIME;

    explicit PerfFile(bool bigEndian = false) : m_bigEndian(bigEndian), m_data(bigEndian) {}

    PerfFile& attr(std::uint64_t type, std::vector<std::uint64_t> const& ids = {}) {
        auto list = make();
        for (auto const id : ids)
            list.u64(id);
        // sample_id_all is the one flag set, which bit fields place from the other end.
        auto attr = make().u32(1).u32(c_attrSize).padTo(24).u64(type).padTo(40);
        attr.u64(1ULL << (m_bigEndian ? 63 - 18 : 18)).padTo(c_attrSize);
        m_attrs.emplace_back(attr.content(), list.content());
        return *this;
    }

    PerfFile& record(std::uint32_t type, std::uint16_t misc, Bytes const& payload) {
        m_data.u32(type).u16(misc).u16(8 + payload.size()).raw(payload.content());
        return *this;
    }

    PerfFile& mmap(std::uint32_t pid, std::uint64_t start, std::uint64_t length,
                   std::string_view name, std::uint64_t time = 0,
                   std::uint16_t misc = PERF_RECORD_MISC_USER) {
        auto payload = make().u32(pid).u32(pid).u64(start).u64(length).u64(0).text(name, 8);
        return record(PERF_RECORD_MMAP, misc, trailer(payload, pid, time));
    }

    PerfFile& mmap2(std::uint32_t pid, std::uint64_t start, std::uint64_t length,
                    std::string_view name, std::string_view buildId, std::uint64_t inode = 0,
                    std::uint64_t time = 0) {
        auto payload = make().u32(pid).u32(pid).u64(start).u64(length).u64(0);
        if (buildId.empty()) {
            payload.u32(8).u32(1).u64(inode).u64(0);
        } else {
            auto const end = payload.size() + 24;
            payload.u8(buildId.size()).u8(0).u16(0).raw(buildId).padTo(end);
        }
        payload.u32(5).u32(2).text(name, 8);
        auto const misc = PERF_RECORD_MISC_USER | (buildId.empty() ? 0 : c_buildIdMisc);
        return record(PERF_RECORD_MMAP2, static_cast<std::uint16_t>(misc),
                      trailer(payload, pid, time));
    }

    PerfFile& sample(std::uint32_t pid, std::uint64_t address, std::uint64_t time = 0,
                     std::uint16_t misc = PERF_RECORD_MISC_USER) {
        return record(PERF_RECORD_SAMPLE, misc, make().u64(address).u32(pid).u32(pid).u64(time));
    }

    /// Of a recording whose attributes are of `c_countedType`.
    static constexpr std::uint64_t c_countedType =
        PERF_SAMPLE_IP | PERF_SAMPLE_TID | PERF_SAMPLE_ID | PERF_SAMPLE_PERIOD;
    PerfFile& counted(std::uint32_t pid, std::uint64_t address, std::uint64_t id,
                      std::uint64_t period) {
        return record(PERF_RECORD_SAMPLE, PERF_RECORD_MISC_USER,
                      make().u64(address).u32(pid).u32(pid).u64(id).u64(period));
    }

    PerfFile& fork(std::uint32_t parent, std::uint32_t child, std::uint64_t time = 0) {
        auto payload = make().u32(child).u32(parent).u32(child).u32(parent).u64(time);
        return record(PERF_RECORD_FORK, 0, trailer(payload, child, time));
    }

    PerfFile& exec(std::uint32_t pid, std::uint64_t time = 0) {
        return record(PERF_RECORD_COMM, PERF_RECORD_MISC_COMM_EXEC,
                      trailer(make().u32(pid).u32(pid).text("comm", 8), pid, time));
    }

    PerfFile& mountNamespace(std::uint32_t pid, std::uint64_t inode) {
        auto payload = make().u32(pid).u32(pid).u64(7);
        for (int i = 0; i < 7; ++i)
            payload.u64(4).u64(i == 5 ? inode : 99);
        return record(PERF_RECORD_NAMESPACES, 0, trailer(payload, pid, 0));
    }

    PerfFile& finishedRound() { return record(68, 0, make()); }

    /// A build-id for the feature section of file mode.
    PerfFile& buildId(std::string_view id, std::string_view name,
                      std::uint16_t misc = PERF_RECORD_MISC_USER) {
        auto payload = make().u32(~0U).raw(id).padTo(24).u8(id.size()).padTo(28).text(name, 8);
        auto const rest =
            make().u16(misc | 1U << 15).u16(8 + payload.size()).raw(payload.content());
        m_buildIds += make().u32(0).raw(rest.content()).content();
        m_pipedBuildIds += make().u32(67).raw(rest.content()).content();
        return *this;
    }

    std::string const& records() const { return m_data.content(); }
    Bytes make() const { return Bytes(m_bigEndian); }

    /// Adds the sample_id that every record but a sample ends with.
    Bytes trailer(Bytes payload, std::uint32_t pid, std::uint64_t time) const {
        return payload.u32(pid).u32(pid).u64(time);
    }

    /// The whole in file mode. `finished`: false as perf leaves it when it is killed.
    std::string file(bool finished = true) const {
        constexpr std::size_t c_header = 104;
        auto ids = make();
        auto attrs = make();
        auto const idsAt = c_header + m_attrs.size() * (c_attrSize + 16);
        for (auto const& [attr, list] : m_attrs) {
            attrs.raw(attr).u64(idsAt + ids.size()).u64(list.size());
            ids.raw(list);
        }
        auto const dataAt = idsAt + ids.size();
        auto head = make();
        head.raw(magic()).u64(c_header).u64(c_attrSize + 16);
        head.u64(c_header).u64(attrs.size()).u64(dataAt).u64(finished ? m_data.size() : 0);
        head.u64(0).u64(0);
        head.u64(finished ? 1U << 2 | 1U << 4 : 0).u64(0).u64(0).u64(0);
        head.raw(attrs.content()).raw(ids.content()).raw(m_data.content());
        if (finished) {
            auto const release = make().u32(8).raw("6.1.0-x").content();
            auto const at = head.size() + 32;
            head.u64(at).u64(m_buildIds.size()).u64(at + m_buildIds.size()).u64(release.size());
            head.raw(m_buildIds).raw(release);
        }
        return head.content();
    }

    /// The whole in pipe mode.
    std::string pipe() const {
        PerfFile all(m_bigEndian);
        for (auto const& [attr, ids] : m_attrs)
            all.record(64, 0, make().raw(attr + ids));
        all.record(80, 0, make().u64(4).u32(8).text("6.1.0-x"));
        auto content = make().raw(magic()).u64(16).raw(all.records()).raw(records());
        return content.raw(m_pipedBuildIds).content();
    }

private:
    static constexpr std::size_t c_attrSize = 64;
    static constexpr unsigned c_buildIdMisc = PERF_RECORD_MISC_MMAP_BUILD_ID;

    std::string_view magic() const { return m_bigEndian ? "2ELIFREP" : "PERFILE2"; }

    bool m_bigEndian;
    Bytes m_data;
    std::vector<std::pair<std::string, std::string>> m_attrs; ///< Each with its ids.
    std::string m_buildIds;
    std::string m_pipedBuildIds;
};

} // namespace lokata::profile::test
