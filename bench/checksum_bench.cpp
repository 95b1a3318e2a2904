/// The checksums of a file of 1 GiB that lies in the cache, beside the program that a user would
/// run for them.
#include "bench_support.h"

#include <lokata2/checksum.h>

#include <fstream>
#include <random>

namespace {

using namespace LK_2_13;

std::string const& bigFile() {
    static bench::ScratchDirectory const scratch;
    static std::string const file = [] {
        std::string name = scratch.path() + "/big";
        std::mt19937_64 random(1);
        std::vector<std::uint64_t> block(1 << 17);
        std::ofstream out(name, std::ios::binary);
        for (int i = 0; i < 1024; ++i) {
            for (std::uint64_t& word : block)
                word = random();
            out.write(reinterpret_cast<char const*>(block.data()),
                      static_cast<std::streamsize>(block.size() * sizeof block[0]));
        }
        bench::require(static_cast<bool>(out.flush()), "cannot write the big file");
        return name;
    }();
    return file;
}

void checksum(benchmark::State& state, checksum_type_t type) {
    std::string const& file = bigFile();
    auto const calculator = IChecksumCalculator::create();
    for ([[maybe_unused]] auto _ : state)
        bench::require(static_cast<bool>(calculator->calculateChecksum(file.c_str(), type)),
                       "no checksum");
}

void opensslProcess(benchmark::State& state, char const* digest) {
    bench::measureProcess(state, {"openssl", "dgst", digest, bigFile()}, 0);
}

BENCHMARK_CAPTURE(checksum, md5, ctMd5)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(opensslProcess, md5, "-md5")->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(checksum, sha1, ctSha1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(opensslProcess, sha1, "-sha1")->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace
