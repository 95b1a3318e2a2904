/// Resolving modules that lie where they were recorded, with their symbols, beside what else finds
/// the same files. The modules are stripped libraries, each with a build-id of its own; for some a
/// separate debug file lies in a tree by build-id.
#include "bench_support.h"

#include <lokata/profile/resolver.h>
#include <toolbelt2/path.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

#include <elf.h>
#include <elfutils/libdwfl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace lokata;
using bench::require;

constexpr std::size_t c_moduleCount = 3000;
constexpr std::size_t c_directoryCount = 30;
/// Of the first module; the others have their number in the first two bytes.
constexpr char c_firstId[] = "0000112233445566778899aabbccddeeff001122";

profile::BuildId idOf(std::size_t number) {
    profile::BuildId id = profile::buildIdFromHex(c_firstId);
    id[0] = static_cast<std::uint8_t>(number >> 8);
    id[1] = static_cast<std::uint8_t>(number);
    return id;
}

void run(std::vector<std::string> const& words) {
    require(bench::runProcess(words).status == 0, words.front().c_str());
}

void makeDirectory(std::string const& path) {
    require(mkdir(path.c_str(), 0755) == 0, "no directory");
}

/// A file of which copies with other build-ids are made.
class Pattern {
public:
    explicit Pattern(std::string const& path) {
        std::ifstream file(path, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
        profile::BuildId const id = idOf(0);
        m_idAt = m_bytes.find(std::string(id.begin(), id.end()));
        require(m_idAt != std::string::npos, "no build-id in a library");
    }

    void write(std::string const& path, std::size_t number) {
        profile::BuildId const id = idOf(number);
        std::copy(id.begin(), id.end(), m_bytes.begin() + static_cast<std::ptrdiff_t>(m_idAt));
        std::ofstream(path, std::ios::binary) << m_bytes;
    }

private:
    std::string m_bytes;
    std::size_t m_idAt;
};

class Machine {
public:
    static Machine const& get() {
        static Machine const machine;
        return machine;
    }

    std::string debugDirectory() const { return m_scratch.path() + "/debug"; }
    std::vector<std::string> const& modules() const { return m_modules; }

private:
    Machine() {
        std::string const source = m_scratch.path() + "/library.cpp";
        std::string const library = m_scratch.path() + "/library.so";
        std::string const symbols = m_scratch.path() + "/library.debug";
        std::ofstream(source) << "#include <map>\n#include <string>\n"
                                 "std::map<std::string, int> table;\n"
                                 "int count(std::string const& word) { return ++table[word]; }\n";
        run({"c++", "-g", "-O1", "-shared", "-fPIC", "-Wl,--build-id=0x" + std::string(c_firstId),
             source, "-o", library});
        run({"objcopy", "--only-keep-debug", library, symbols});
        run({"strip", library});
        writeModules(Pattern(library));
        writeSymbols(Pattern(symbols));
    }

    void writeModules(Pattern library) {
        for (std::size_t i = 0; i < c_directoryCount; ++i)
            makeDirectory(directory(i));
        for (std::size_t i = 0; i < c_moduleCount; ++i) {
            m_modules.push_back(directory(i % c_directoryCount) + "/libmodule" + std::to_string(i) +
                                ".so");
            library.write(m_modules.back(), i);
        }
    }

    /// For every second module.
    void writeSymbols(Pattern symbols) {
        std::string const root = debugDirectory() + "/.build-id/";
        makeDirectory(debugDirectory());
        makeDirectory(root);
        for (std::size_t i = 0; i < c_moduleCount; i += 2) {
            std::string const id = profile::toHex(idOf(i));
            static_cast<void>(mkdir((root + id.substr(0, 2)).c_str(), 0755));
            symbols.write(root + id.substr(0, 2) + "/" + id.substr(2) + ".debug", i);
        }
    }

    std::string directory(std::size_t number) const {
        return m_scratch.path() + "/lib" + std::to_string(number);
    }

    bench::ScratchDirectory m_scratch;
    std::vector<std::string> m_modules;
};

profile::Profile recordedProfile() {
    profile::Profile result;
    result.format = "list";
    for (std::size_t i = 0; i < c_moduleCount; ++i) {
        profile::Module module;
        module.name = Machine::get().modules()[i];
        module.build_id = idOf(i);
        result.modules.push_back(std::move(module));
    }
    return result;
}

/// With debug files for half of the modules, or without a place where such may lie but the usual.
void resolveModules(benchmark::State& state, bool hasSymbols, std::size_t threads = 1) {
    profile::PlaceOptions places;
    if (hasSymbols)
        places.debug_dirs = {Machine::get().debugDirectory()};
    profile::Profile const recorded = recordedProfile();
    for ([[maybe_unused]] auto _ : state) {
        profile::Resolver resolver(nullptr, places);
        resolver.setThreads(threads);
        auto const resolution = resolver.resolve(recorded, "list");
        for (std::size_t i = 0; i < c_moduleCount; ++i) {
            profile::ModuleResolution const& module = resolution.modules[i];
            require(module.status == profile::ModuleStatus::resolved, "lost a module");
            require((module.level == profile::SymbolLevel::lines) == (hasSymbols && i % 2 == 0),
                    "lost the symbols of a module");
        }
    }
}

/// By the wall clock, as processor time does not tell what several threads gain.
void resolveOnThreads(benchmark::State& state) {
    resolveModules(state, true, static_cast<std::size_t>(state.range(0)));
}

bool holdsId(std::string const& path, profile::BuildId const& id) {
    std::array<char, 4096> start{};
    int const file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    require(file >= 0 && fstat(file, &status) == 0, "no module");
    require(pread(file, start.data(), start.size(), 0) > 0, "cannot read a module");
    Elf64_Ehdr header{};
    std::memcpy(&header, start.data(), sizeof header);
    bool result = false;
    for (std::size_t i = 0; i < header.e_phnum && !result; ++i) {
        Elf64_Phdr segment{};
        std::memcpy(&segment, start.data() + header.e_phoff + i * sizeof segment, sizeof segment);
        std::string note(segment.p_filesz, '\0');
        if (segment.p_type == PT_NOTE &&
            pread(file, note.data(), note.size(), static_cast<off_t>(segment.p_offset)) > 0)
            result = note.find(std::string(id.begin(), id.end())) != std::string::npos;
    }
    close(file);
    return result;
}

/// What no search can do without: opening each module and reading its note, and a look at each of
/// the paths at which its symbols may lie.
void bareModuleCalls(benchmark::State& state) {
    constexpr int c_absentPaths = 22;
    Machine const& machine = Machine::get();
    for ([[maybe_unused]] auto _ : state)
        for (std::size_t i = 0; i < c_moduleCount; ++i) {
            require(holdsId(machine.modules()[i], idOf(i)), "another module");
            for (int j = 0; j < c_absentPaths; ++j) {
                struct stat status {};
                std::string const path = machine.modules()[i] + "." + std::to_string(j);
                require(stat(path.c_str(), &status) != 0, "a file too many");
            }
        }
}

/// How debuggers over libdwfl find the same files.
void libdwfl(benchmark::State& state) {
    std::string directory = ":" + Machine::get().debugDirectory();
    char* path = directory.data();
    Dwfl_Callbacks callbacks{};
    callbacks.find_debuginfo = dwfl_standard_find_debuginfo;
    callbacks.section_address = dwfl_offline_section_address;
    callbacks.debuginfo_path = &path;
    for ([[maybe_unused]] auto _ : state) {
        std::unique_ptr<Dwfl, decltype(&dwfl_end)> const session(dwfl_begin(&callbacks), dwfl_end);
        std::vector<Dwfl_Module*> modules;
        dwfl_report_begin(session.get());
        for (std::string const& module : Machine::get().modules())
            modules.push_back(
                dwfl_report_offline(session.get(), module.c_str(), module.c_str(), -1));
        dwfl_report_end(session.get(), nullptr, nullptr);
        for (Dwfl_Module* const module : modules)
            require(module != nullptr && dwfl_module_getsymtab(module) > 0, "no symbols");
    }
}

BENCHMARK_CAPTURE(resolveModules, alone, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(resolveModules, symbols, true)->Unit(benchmark::kMillisecond);
BENCHMARK(resolveOnThreads)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(bareModuleCalls)->Unit(benchmark::kMillisecond);
BENCHMARK(libdwfl)->Unit(benchmark::kMillisecond);

} // namespace
