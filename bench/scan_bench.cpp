/// Looking for one build-id in a tree of 50,000 ELF files, in the cache: for the first time, with
/// the writing of the index, and with the index. Beside it the least that reads all build-ids, and
/// `find` with what the index compares. The directory of the tree is that of TMPDIR.
#include "bench_support.h"

#include "search/scan/content_scan.h"
#include "support/elf_builder.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <thread>

#include <dirent.h>
#include <sys/stat.h>

namespace {

using namespace lokata;
using bench::require;

constexpr std::size_t c_directories = 500;
constexpr std::size_t c_filesPerDirectory = 100;
constexpr std::size_t c_files = c_directories * c_filesPerDirectory;

/// Where the files have their section headers: as far behind their start as those of a small
/// library, with nothing stored between.
constexpr std::size_t c_sectionsAt = 12'288;
constexpr std::size_t c_sections = 26;

std::string noteOf(std::size_t number) {
    std::string id(20, 'x');
    std::memcpy(id.data(), &number, sizeof number);
    return profile::test::elfNote(profile::test::Bytes(), NT_GNU_BUILD_ID, "GNU", id);
}

/// One with a note and sections as a linker leaves them.
void writeElf(std::string const& path, std::size_t number) {
    std::string const note = noteOf(number);
    auto head = profile::test::elfHeader(true, false, ET_DYN, 1, c_sectionsAt, c_sections);
    std::size_t const noteAt = sizeof(Elf64_Ehdr) + sizeof(Elf64_Phdr);
    profile::test::programHeader(head, true, PT_NOTE, PF_R, noteAt, noteAt, note.size(),
                                 note.size());
    std::array<Elf64_Shdr, c_sections> sections{};
    sections[1].sh_type = SHT_NOTE;
    sections[1].sh_offset = noteAt;
    sections[1].sh_size = note.size();
    sections[1].sh_addralign = 4;
    for (std::size_t i = 2; i + 1 < c_sections; ++i) {
        sections[i].sh_type = SHT_PROGBITS;
        sections[i].sh_flags = SHF_ALLOC;
        sections[i].sh_offset = 4096;
        sections[i].sh_size = 64;
    }
    std::string const names = std::string(300, 'n') + '\0';
    Elf64_Shdr& ofNames = sections[c_sections - 1];
    ofNames.sh_type = SHT_STRTAB;
    ofNames.sh_offset = c_sectionsAt - names.size();
    ofNames.sh_size = names.size();

    int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    std::string const start = head.content() + note;
    auto const put = [&](void const* bytes, std::size_t size, std::size_t at) {
        require(pwrite(file, bytes, size, static_cast<off_t>(at)) == static_cast<ssize_t>(size),
                "cannot write an ELF file");
    };
    put(start.data(), start.size(), 0);
    put(names.data(), names.size(), ofNames.sh_offset);
    put(sections.data(), sizeof sections, c_sectionsAt);
    close(file);
}

class Tree {
public:
    static Tree const& get() {
        static Tree const tree;
        return tree;
    }

    std::string const& root() const { return m_root; }
    std::string const& index() const { return m_index; }

private:
    Tree() {
        require(mkdir(m_root.c_str(), 0755) == 0, "no tree");
        for (std::size_t i = 0; i < c_directories; ++i) {
            std::string const directory = m_root + "/dir" + std::to_string(i);
            require(mkdir(directory.c_str(), 0755) == 0, "no directory in the tree");
            for (std::size_t k = 0; k < c_filesPerDirectory; ++k)
                writeElf(directory + "/file" + std::to_string(k), i * c_filesPerDirectory + k);
        }
        // What changed just before is not kept by the index.
        std::this_thread::sleep_for(std::chrono::seconds(3));
    }

    bench::ScratchDirectory m_scratch;
    std::string m_root = m_scratch.path() + "/tree";
    std::string m_index = m_scratch.path() + "/files.sqlite";
};

/// Finds the file in the middle.
void scanOnce() {
    profile::ScanOptions options;
    options.dirs = {Tree::get().root()};
    options.index = Tree::get().index();
    profile::ContentScan scan(options);
    std::size_t const wanted = c_files / 2;
    std::string const note = noteOf(wanted);
    profile::BuildId const id(note.end() - 20, note.end());
    require(scan.files(profile::elfTrees(nullptr, options), id, false).size() == 1, "lost a file");
}

void scanFirst(benchmark::State& state) {
    Tree const& tree = Tree::get();
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(tree.index());
        state.ResumeTiming();
        scanOnce();
    }
}

void scanAgain(benchmark::State& state) {
    scanOnce();
    require(profile::fileIndexStatus(Tree::get().index()).entries == c_files, "not all were kept");
    for ([[maybe_unused]] auto _ : state)
        scanOnce();
}

/// Opens each directory and each file in it, and reads the header, the program headers and the
/// note.
void readAllNotes(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        std::size_t found = 0;
        std::array<char, 4096> note{};
        for (std::size_t i = 0; i < c_directories; ++i) {
            DIR* const directory =
                opendir((Tree::get().root() + "/dir" + std::to_string(i)).c_str());
            while (dirent const* const entry = readdir(directory)) {
                if (entry->d_type != DT_REG)
                    continue;
                int const file = openat(dirfd(directory), entry->d_name, O_RDONLY | O_CLOEXEC);
                Elf64_Ehdr header{};
                Elf64_Phdr segment{};
                require(pread(file, &header, sizeof header, 0) == sizeof header &&
                            pread(file, &segment, sizeof segment,
                                  static_cast<off_t>(header.e_phoff)) == sizeof segment &&
                            pread(file, note.data(), segment.p_filesz,
                                  static_cast<off_t>(segment.p_offset)) > 0,
                        "cannot read a file");
                close(file);
                ++found;
            }
            closedir(directory);
        }
        require(found == c_files, "lost a file");
    }
}

void findStamps(benchmark::State& state) {
    bench::measureProcess(state,
                          {"find", Tree::get().root(), "-type", "f", "-printf", "%i %s %T@\n"}, 0);
}

BENCHMARK(scanFirst)->Unit(benchmark::kMillisecond);
BENCHMARK(readAllNotes)->Unit(benchmark::kMillisecond);
BENCHMARK(scanAgain)->Unit(benchmark::kMillisecond);
BENCHMARK(findStamps)->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace
