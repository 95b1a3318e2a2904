#include "inputs.h"

#include "elf_builder.h"
#include <lokata/profile/read.h>

namespace lokata::profile::test {

namespace {

constexpr std::size_t c_page = 4096;

PerfFile perfRecords(bool bigEndian) {
    PerfFile perf(bigEndian);
    perf.attr(PerfFile::c_sampleType, {1, 2});
    perf.mmap(~0U, 0xffff0000, 0x1000, "[kernel.kallsyms]_text", 0, PERF_RECORD_MISC_KERNEL);
    perf.mountNamespace(1, 77).mountNamespace(9, 78);
    perf.exec(5, 1).mmap(5, 0x1000, 0x1000, "/usr/bin/app", 2);
    perf.mmap2(5, 0x3000, 0x1000, "/usr/lib/libx.so", buildId('x'), 0, 2);
    perf.fork(5, 6, 3).sample(6, 0x1234, 4).sample(5, 0x3456, 5).finishedRound();
    perf.sample(5, 0xffff0010, 6, PERF_RECORD_MISC_KERNEL);
    return perf.buildId(buildId('a'), "/usr/bin/app");
}

std::string compressedPerf() {
    PerfFile perf;
    perf.attr(PerfFile::c_sampleType);
    auto const packed = zstdWithoutEnd(perfRecords(false).records());
    perf.record(81, 0, Bytes().raw(packed.substr(0, packed.size() / 2)));
    perf.record(81, 0, Bytes().raw(packed.substr(packed.size() / 2)));
    return perf.file();
}

std::string pprof() {
    PprofFile file;
    file.unit(1, 2).sample({1, 2}, {5}).sample({2}, {7});
    file.mapping(1, 3, 4).mapping(2, 5, 0).location(1, 1, 1).location(2, 2, 2);
    file.function(1, 6).function(2, 6);
    for (auto const* const text :
         {"", "samples", "count", "/bin/app", "abcdef0123", "/lib/libx.so", "src/main.cc"})
        file.string(text);
    return file.content();
}

/// A thread with libraries of its own: a library that calls the program and is called by it, and
/// code of a script.
constexpr char c_processedFirefox[] =
    R"({"meta":{"version":19,"preprocessedProfileVersion":36},"threads":[{
"libs":[{"name":"app","path":"/bin/app","breakpadId":"030201000504070608090A0B0C0D0E0F0"},
{"path":"/lib/libx.so","codeId":"abcdef0123"},{"path":"[kernel.kallsyms]","breakpadId":""}],
"samples":{"stack":[3,1,1,null,5,6],"weight":null,"length":6},
"stackTable":{"prefix":[null,0,1,2,null,4,0],"frame":[1,0,1,0,2,3,4],"length":7},
"frameTable":{"func":[0,1,2,3,4],"implementation":[null,null,"ion",null,null]},
"funcTable":{"resource":[0,1,-1,2,null],"fileName":[1,2,3,null,null]},
"resourceTable":{"lib":[0,1,2],"type":[1,1,1]},
"stringTable":["main","src/main.cc","hg:host:path:1","http://host/a.js"]}]})";

/// Tables that two threads share, before these in the text; a frame knows its library by a symbol.
constexpr char c_sharedFirefox[] =
    R"({"threads":[{"samples":{"stack":[1],"weight":[2.0],"weightType":"samples"}},
{"samples":{"stack":[1,0],"weight":[4096,1],"weightType":"bytes"}}],
"shared":{"stackTable":{"frame":[0,1],"prefix":[null,0]},"frameTable":{"func":[0,1],
"nativeSymbol":[null,0]},"nativeSymbols":{"libIndex":[1]},"funcTable":{"resource":[0,-1],
"source":[0,null]},"resourceTable":{"lib":[0]},"sources":{"filename":[0]},
"stringArray":["/src/a.c"]},"libs":[{"name":"app","path":"/bin/app",
"breakpadId":"33221100554477668899AABBCCDDEEFF0","codeId":"00112233445566778899aabbccddeeff01"},
{"name":"libx.so","path":"/lib/libx.so","codeId":null}]})";

/// A process inside another.
constexpr char c_rawFirefox[] =
    R"({"meta":{"version":27},"libs":[{"start":4096,"end":8192,"path":"/bin/app",
"codeId":"abcdef"},{"start":8192,"end":12288,"path":"/lib/libx.so"}],"threads":[{
"samples":{"schema":{"stack":0,"time":1},"data":[[1,0.5],[1,2,[3]],[2]]},
"stackTable":{"schema":{"prefix":0,"frame":1},"data":[[null,0],[0,1],[1,2]]},
"frameTable":{"schema":{"line":0,"location":1},"data":[[1,0],[2,1],[null,2]]},
"stringTable":["0x1fff","0x2000","root"]
}],"processes":[{"libs":[{"start":4096,"end":8192,
"path":"/bin/child"}],"threads":[{"samples":{"data":[[0]]},"stackTable":{"data":[[null,0]]},
"frameTable":{"data":[[0]]},"stringTable":["0x1000"]}]}]
})";

/// Two stacks, one of them 3 times, and a sample outside of all mappings.
std::string gperftools(unsigned word, bool bigEndian) {
    Bytes out(bigEndian);
    for (std::uint64_t const slot :
         {0, 3, 0, 10000, 0, 3, 2, 0x1010, 0x3000, 2, 1, 0x2010, 1, 1, 0x9000, 0, 1, 0})
        out.integer(slot, word);
    return out
        .raw("build=/opt/b\n1000-2000 r-xp 00000000 fe:00 12 $build/app\n"
             "2000-3000 r-xp 00000000 fe:00 13 /lib/libx.so\n3000-4000 rw-p 00000000 00:00 0\n")
        .content();
}

} // namespace

std::string buildId(char first, std::size_t size) {
    std::string id;
    for (std::size_t i = 0; i < size; ++i)
        id.push_back(static_cast<char>(first + i));
    return id;
}

std::string CoreFile::content() const {
    unsigned const word = wide ? 8 : 4;
    Bytes list(big_endian);
    list.integer(files.size(), word).integer(c_page, word);
    for (std::size_t i = 0; i < files.size(); ++i) {
        auto const start = 0x10000 + i * c_page;
        list.integer(start, word).integer(start + c_page, word).integer(0, word);
    }
    for (auto const& file : files)
        list.text(file.name);
    auto const notes = elfNote(Bytes(big_endian), NT_FILE, "CORE", list.content());
    auto out = elfHeader(wide, big_endian, ET_CORE, files.size() + 1);
    auto const notesAt = out.size() + (files.size() + 1) * (wide ? 56 : 32);
    programHeader(out, wide, PT_NOTE, 0, notesAt, 0, notes.size(), 0);
    std::string pages;
    for (std::size_t i = 0; i < files.size(); ++i) {
        auto const& file = files[i];
        auto image = elfHeader(wide, big_endian, ET_DYN, 1);
        auto const id = elfNote(Bytes(big_endian), NT_GNU_BUILD_ID, "GNU", file.build_id);
        programHeader(image, wide, PT_NOTE, PF_R, 64 + 56, 64 + 56, id.size(), 0);
        image.padTo(64 + 56).raw(id);
        auto const page = file.build_id.empty() ? std::string() : image.content();
        programHeader(out, wide, PT_LOAD, PF_R | (file.executable ? PF_X : 0U),
                      notesAt + notes.size() + pages.size(), 0x10000 + i * c_page, page.size(),
                      c_page);
        pages += page;
    }
    return out.raw(notes).raw(pages).content();
}

std::vector<std::string> summary(Profile const& profile) {
    std::vector<std::string> lines;
    for (auto const& one : profile.modules) {
        auto line = one.name + " " + std::string(wordOf(c_moduleKinds, one.kind)) + " " +
                    std::to_string(one.samples);
        line += one.caller_samples == 0 ? "" : "+" + std::to_string(one.caller_samples);
        line += one.build_id.empty() ? "" : " " + toHex(one.build_id).substr(0, 4);
        line += one.mount_namespace == 0 ? "" : " in " + std::to_string(one.mount_namespace);
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> summary(PerfFile const& perf) {
    return summary(readProfile(perf.file()));
}

std::vector<Input> const& inputs() {
    static std::vector<Input> const all{
        {"perf", "file", perfRecords(false).file()},
        {"perf", "big-endian", perfRecords(true).file()},
        {"perf", "pipe", perfRecords(false).pipe()},
        {"perf", "compressed", compressedPerf()},
        {"buildid-list", "list", "0123456789abcdef0123 /usr/bin/app\n"},
        {"unstrip", "list",
         "0x1000+0x2000 abcdef01@0x1010 /usr/bin/app - app\n"
         "0x7000+0x1000 - . - linux-vdso.so.1\n"},
        {"maps", "list",
         "1000-2000 r-xp 00000000 fe:00 12 /usr/bin/a\\012b (deleted)\n"
         "2000-3000 rw-p 00000000 00:00 0 [heap]\n"},
        {"paths", "list", "/usr/bin/app\nlibx.so\n"},
        {"core", "wide", CoreFile{true, false, {{"/bin/app", buildId('c')}}}.content()},
        {"core", "narrow", CoreFile{false, true, {{"/bin/app", buildId('c')}}}.content()},
        {"gperftools", "wide", gperftools(8, false)},
        {"gperftools", "narrow", gperftools(4, true)},
        {"firefox", "processed", c_processedFirefox},
        {"firefox", "shared", c_sharedFirefox},
        {"firefox", "raw", c_rawFirefox},
        {"pprof", "plain", pprof()},
        {"pprof", "gzipped", gzip(pprof())},
    };
    return all;
}

} // namespace lokata::profile::test
