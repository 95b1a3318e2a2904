#pragma once

#include "bytes.h"
#include "packers.h"
#include "perf_file.h"

#include <lokata/profile/profile.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace lokata::profile::test {

/// A build-id of `size` bytes that all differ from zero.
std::string buildId(char first, std::size_t size = 20);

/// A core with one mapped file at each page from 0x10000 on; those with a build-id have an ELF
/// header and a note dumped.
struct CoreFile {
    struct Mapped {
        std::string name;
        std::string build_id;
        bool executable = true;
    };
    bool wide = true;
    bool big_endian = false;
    std::vector<Mapped> files;

    std::string content() const;
};

/// Fields of a pprof message.
class PprofFile {
public:
    PprofFile& string(std::string_view text) { return field(6, text); }
    PprofFile& unit(std::uint64_t type, std::uint64_t name) {
        return field(1, numbers({{1, type}, {2, name}}));
    }
    PprofFile& mapping(std::uint64_t id, std::uint64_t file, std::uint64_t build) {
        return field(3, numbers({{1, id}, {2, 0x1000}, {5, file}, {6, build}, {7, 1}}));
    }
    PprofFile& location(std::uint64_t id, std::uint64_t mapping, std::uint64_t function) {
        auto const line = Bytes().u8(4 << 3 | 2).u8(2).u8(1 << 3).u8(function);
        return field(4, numbers({{1, id}, {2, mapping}, {3, 0x1234}}) + line.content());
    }
    PprofFile& function(std::uint64_t id, std::uint64_t file) {
        return field(5, numbers({{1, id}, {2, 1}, {4, file}}));
    }
    PprofFile& sample(std::vector<std::uint64_t> const& locations,
                      std::vector<std::uint64_t> const& values) {
        Bytes packed;
        for (auto const id : locations)
            packed.varint(id);
        auto content = Bytes().u8(1 << 3 | 2).varint(packed.size()).raw(packed.content());
        for (auto const value : values)
            content.u8(2 << 3).varint(value);
        return field(2, content.content());
    }
    PprofFile& field(std::uint32_t number, std::string_view content) {
        m_bytes.varint(number << 3 | 2).varint(content.size()).raw(content);
        return *this;
    }
    std::string const& content() const { return m_bytes.content(); }

private:
    static std::string numbers(std::vector<std::pair<std::uint32_t, std::uint64_t>> const& fields) {
        Bytes bytes;
        for (auto const& [number, value] : fields)
            bytes.varint(number << 3).varint(value);
        return bytes.content();
    }

    Bytes m_bytes;
};

/// "name kind samples+callers buildid in namespace" of each module, what is zero left out but the
/// samples, and of a build-id all but the first two bytes.
std::vector<std::string> summary(Profile const& profile);
std::vector<std::string> summary(PerfFile const& perf);

/// One small valid input of every kind and variant, by a name that can be a file name.
struct Input {
    std::string format;
    std::string name;
    std::string content;

    friend void PrintTo(Input const& input, std::ostream* out) {
        *out << input.format << " " << input.name;
    }
};
std::vector<Input> const& inputs();

} // namespace lokata::profile::test
