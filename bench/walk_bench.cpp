/// The recursive walk for a name that is nowhere, over trees of directories with ten plain files
/// each, all in the cache. Beside it what it is held against: `find` as a process, and the least
/// number of system calls that the same answer takes. The directory of the trees is that of TMPDIR.
/// The large tree takes two million directory entries.
#include "bench_support.h"

#include "lk_search_impl.h"
#include "lk_search_strategy_src.h"

#include <map>

#include <dirent.h>
#include <sys/stat.h>

namespace {

using namespace LK_2_13;
using bench::require;

constexpr char const* c_absentName = "libabsent.so.1";

/// A tree in which each directory but the lowest has ten subdirectories.
class Tree {
public:
    explicit Tree(std::int64_t directories) {
        std::vector<std::string> made{root()};
        for (std::size_t parent = 0; static_cast<std::int64_t>(made.size()) < directories;) {
            made.push_back(made[parent] + "/dir" + std::to_string(made.size()));
            require(mkdir(made.back().c_str(), 0755) == 0, "no directory in the tree");
            if (made.size() % 10 == 0)
                ++parent;
        }
        for (std::string const& directory : made)
            fill(directory);
    }
    std::string const& root() const { return m_scratch.path(); }

private:
    static void fill(std::string const& directory) {
        for (int i = 0; i < 10; ++i) {
            std::string const file = directory + "/file" + std::to_string(i) + ".so";
            require(mknod(file.c_str(), S_IFREG | 0644, 0) == 0, "no file in the tree");
        }
    }

    bench::ScratchDirectory m_scratch;
};

/// Never asked: no candidate exists.
class NoValidator final : public IValidatorInternal {
public:
    ObjectPtr<IValidatedFile> validate(char const*) override { return {}; }
    ObjectPtr<IValidatedFile> validateInternal(char const*, unsigned int) override { return {}; }
};

/// The gate that the candidates of a search pass, with a count.
class CountingGate final : public ISearchResultsContainer {
public:
    bool validateAndAdd(char const* fileName, unsigned int step) override {
        ++offered;
        return m_gate.validateAndAdd(fileName, step);
    }

    std::int64_t offered = 0;

private:
    NoValidator m_validator;
    SrcFileSearchStrategy m_strategy{nullptr, c_absentName, nullptr, nullptr, m_validator};
    FoundFilesLazyIterator m_gate{m_strategy, m_validator, 0};
};

/// Opens each directory below its open parent, so that no path is resolved twice.
std::int64_t leastCalls(int parent, char const* name, std::vector<char>& buffer) {
    int const directory = openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(directory >= 0, "cannot open a directory");
    struct stat status {};
    require(fstatat(directory, c_absentName, &status, 0) != 0, "found an absent name");
    std::vector<std::string> subdirectories;
    for (;;) {
        ssize_t const size = getdents64(directory, buffer.data(), buffer.size());
        require(size >= 0, "cannot read a directory");
        if (size == 0)
            break;
        for (ssize_t pos = 0; pos < size;) {
            auto const* const entry = reinterpret_cast<dirent64 const*>(buffer.data() + pos);
            if (entry->d_type == DT_DIR && entry->d_name[0] != '.')
                subdirectories.emplace_back(entry->d_name);
            pos += entry->d_reclen;
        }
    }
    std::int64_t visited = 1;
    for (std::string const& subdirectory : subdirectories)
        visited += leastCalls(directory, subdirectory.c_str(), buffer);
    close(directory);
    return visited;
}

/// Each tree is made once, when it is first asked for, and walked until the kernel knows it.
std::string const& treeOf(std::int64_t directories) {
    static std::map<std::int64_t, Tree> trees;
    auto const [place, made] = trees.try_emplace(directories, directories);
    std::string const& root = place->second.root();
    std::vector<char> buffer(32768);
    for (int i = 0; made && i < 2; ++i)
        leastCalls(AT_FDCWD, root.c_str(), buffer);
    return root;
}

void walk(benchmark::State& state) {
    std::string const& root = treeOf(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        CountingGate results;
        FilesFinder finder(ssHighPrioritySearchDirs, nullptr);
        finder.addSearchDirectory(root.c_str(), true);
        require(!finder.find(c_absentName, results), "found an absent name");
        require(results.offered == state.range(0) + 1, "lost a directory");
    }
}

void findProcess(benchmark::State& state) {
    bench::measureProcess(state, {"find", treeOf(state.range(0)), "-name", c_absentName}, 0);
}

void bareLoop(benchmark::State& state) {
    std::string const& root = treeOf(state.range(0));
    std::vector<char> buffer(32768);
    for ([[maybe_unused]] auto _ : state)
        require(leastCalls(AT_FDCWD, root.c_str(), buffer) == state.range(0), "lost a directory");
}

constexpr int c_smallTree = 10'000;
constexpr int c_largeTree = 200'000;

BENCHMARK(walk)->Arg(c_smallTree)->Unit(benchmark::kMillisecond);
BENCHMARK(findProcess)->Arg(c_smallTree)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(bareLoop)->Arg(c_smallTree)->Unit(benchmark::kMillisecond);
BENCHMARK(bareLoop)->Arg(c_largeTree)->Unit(benchmark::kMillisecond);
BENCHMARK(walk)->Arg(c_largeTree)->Unit(benchmark::kMillisecond);

} // namespace
