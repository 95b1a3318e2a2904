/// Resolving the modules of a profile, all moved since, below search directories of 50,000
/// directories in all, in the cache. With the index of a run, without it, and beside it `find` for
/// one name after the other. The directory of the trees is that of TMPDIR.
#include "bench_support.h"

#include "search/module_search.h"
#include "support/elf_builder.h"

#include <sys/stat.h>

namespace {

using namespace LK_2_13;
using namespace lokata;
using bench::require;

constexpr std::size_t c_moduleCount = 2000;
constexpr std::size_t c_treeCount = 10;
constexpr std::size_t c_directoriesPerTree = 5000;

std::string moduleName(std::size_t number) {
    return "libmodule" + std::to_string(number) + ".so";
}

profile::BuildId idOf(std::size_t number) {
    profile::BuildId id(20, 0x5a);
    id[0] = static_cast<std::uint8_t>(number);
    id[1] = static_cast<std::uint8_t>(number >> 8);
    return id;
}

/// Trees in which each directory but the lowest has ten subdirectories. The modules lie spread over
/// all of them, each beside plain files.
class Machine {
public:
    static Machine const& get() {
        static Machine const machine;
        return machine;
    }

    std::vector<std::string> roots;

private:
    Machine() {
        std::vector<std::string> all;
        for (std::size_t tree = 0; tree < c_treeCount; ++tree) {
            std::vector<std::string> made{m_scratch.path() + "/tree" + std::to_string(tree)};
            roots.push_back(made.front());
            require(mkdir(made.front().c_str(), 0755) == 0, "no tree");
            for (std::size_t parent = 0; made.size() < c_directoriesPerTree;) {
                made.push_back(made[parent] + "/dir" + std::to_string(made.size()));
                require(mkdir(made.back().c_str(), 0755) == 0, "no directory in the tree");
                if (made.size() % 10 == 0)
                    ++parent;
            }
            all.insert(all.end(), made.begin(), made.end());
        }
        for (std::string const& directory : all)
            for (char const* const name : {"/a.so", "/b.so", "/c.so"})
                require(mknod((directory + name).c_str(), S_IFREG | 0644, 0) == 0, "no file");
        for (std::size_t i = 0; i < c_moduleCount; ++i)
            profile::test::ElfBuilder().buildId(idOf(i)).write(all[i * 24 % all.size()] + "/" +
                                                               moduleName(i));
    }

    bench::ScratchDirectory m_scratch;
};

void resolve(benchmark::State& state, bool useIndex) {
    auto const dirs = IEditableSearchDirContainer::create();
    for (std::string const& root : Machine::get().roots)
        dirs->addDirectory(scAllFiles, root.c_str(), true, false);
    auto const environment = IEditableSearchEnv::create();
    environment->setSearchDirs(ObjectPtr<ISearchDirContainer>(dirs));
    for ([[maybe_unused]] auto _ : state) {
        profile::SearchSupport support{profile::PlaceOptions()};
        profile::ModuleSearch search(ObjectPtr<ISearchEnv>(environment), support, {useIndex, ""});
        for (std::size_t i = 0; i < static_cast<std::size_t>(state.range(0)); ++i)
            require(search.findBinary("/gone/lib/" + moduleName(i), idOf(i)).found(),
                    "lost a module");
    }
}

void findNames(benchmark::State& state) {
    Machine const& machine = Machine::get();
    for ([[maybe_unused]] auto _ : state) {
        double seconds = 0;
        for (std::size_t i = 0; i < static_cast<std::size_t>(state.range(0)); ++i) {
            std::vector<std::string> words{"find"};
            words.insert(words.end(), machine.roots.begin(), machine.roots.end());
            words.insert(words.end(), {"-name", moduleName(i)});
            bench::ProcessResult const result = bench::runProcess(words);
            require(result.status == 0, "find failed");
            seconds += result.seconds;
        }
        state.SetIterationTime(seconds);
    }
}

BENCHMARK_CAPTURE(resolve, indexed, true)
    ->Arg(c_moduleCount)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(resolve, plain, false)->Arg(2)->Unit(benchmark::kMillisecond);
BENCHMARK(findNames)->Arg(10)->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace
