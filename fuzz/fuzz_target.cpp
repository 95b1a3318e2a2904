#include "targets.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

/// The target that the environment variable FUZZ_TARGET names; ends the program without one.
FuzzTarget chosenTarget() {
    char const* const wanted = std::getenv("FUZZ_TARGET");
    for (FuzzTarget& target : fuzzTargets())
        if (wanted != nullptr && target.word == wanted)
            return target;
    std::fputs("FUZZ_TARGET names none of the targets:", stderr);
    for (FuzzTarget const& target : fuzzTargets())
        std::fprintf(stderr, " %s", target.word.c_str());
    std::fputc('\n', stderr);
    std::exit(2);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static FuzzTarget const s_target = chosenTarget();
    s_target.run({reinterpret_cast<char const*>(data), size});
    return 0;
}
