/// `lokata run` over 10,000 requests of which 9,000 repeat an earlier one, with and without its
/// history, as a process. The tree has 50 directories; every other name is in one of them, the
/// rest is nowhere.
#include "bench_support.h"

#include <filesystem>
#include <fstream>

namespace {

constexpr int c_directories = 50;
constexpr int c_names = 1000;
constexpr int c_requests = 10'000;

struct Requests {
    Requests() {
        tree = scratch.path() + "/tree";
        for (int i = 0; i < c_directories; ++i)
            std::filesystem::create_directories(tree + "/d" + std::to_string(i));
        for (int i = 0; i < c_names; i += 2)
            std::ofstream(tree + "/d" + std::to_string(i % c_directories) + "/lib" +
                          std::to_string(i) + ".so")
                << i;
        file = scratch.path() + "/requests";
        std::ofstream out(file);
        for (int i = 0; i < c_requests; ++i)
            out << "bin lib" << i % c_names << ".so\n";
        bench::require(static_cast<bool>(out.flush()), "cannot write the requests");
    }

    bench::ScratchDirectory scratch;
    std::string tree;
    std::string file;
};

void run(benchmark::State& state, char const* history) {
    static Requests const wanted;
    // Status 1: not all were found.
    bench::measureProcess(state,
                          {LOKATA_PROGRAM, "run", "--no-user", "--history", history, "-d",
                           "bin:r=" + wanted.tree, wanted.file},
                          1);
}

BENCHMARK_CAPTURE(run, off, "off")->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(run, suggest, "suggest")->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace
