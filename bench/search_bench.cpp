/// A binary that lies in a search directory of high priority, the first step that has a place to
/// look at, found again and again with logging off. Beside it the calls that the answer takes: is
/// it there, is it there for the judgement, is it a directory, is it regular, can it be read.
#include "bench_support.h"

#include <lokata2/lokata2.h>

#include <fstream>

#include <sys/stat.h>

namespace {

using namespace LK_2_13;

constexpr char const* c_fileName = "libwanted.so.1";

std::string const& directory() {
    static bench::ScratchDirectory const scratch;
    static bool const made = static_cast<bool>(std::ofstream(scratch.path() + '/' + c_fileName)
                                               << "content" << std::flush);
    bench::require(made, "cannot write the wanted file");
    return scratch.path();
}

void findBinFile(benchmark::State& state) {
    auto const dirs = IEditableSearchDirContainer::create();
    dirs->addDirectory(scBinaryFiles, directory().c_str(), false, true);
    auto const env = IEditableSearchEnv::create();
    env->setSearchDirs(dirs);
    auto const search = IFileSearch::create(env);
    for ([[maybe_unused]] auto _ : state) {
        auto const file = search->findBinFile(c_fileName, nullptr, nullptr, 0);
        bench::require(file && file->searchStep() == ssHighPrioritySearchDirs, "not found");
    }
}

void bareCalls(benchmark::State& state) {
    std::string const file = directory() + '/' + c_fileName;
    for ([[maybe_unused]] auto _ : state) {
        struct stat status {};
        for (int i = 0; i < 4; ++i)
            bench::require(::stat(file.c_str(), &status) == 0, "no status");
        int const descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        bench::require(descriptor >= 0, "cannot open");
        ::close(descriptor);
    }
}

BENCHMARK(findBinFile);
BENCHMARK(bareCalls);

} // namespace
