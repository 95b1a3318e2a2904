#include <brace/debug.h>

#include <cstdio>

namespace BRACE_2_18::debug {
namespace {

char const* not_null(char const* text) {
    return text != nullptr ? text : "";
}

} // namespace

void report(char const* text, char const* file, char const* function) noexcept {
    std::fprintf(stderr, "%s, at file: %s, in function: %s\n", not_null(text), not_null(file),
                 not_null(function));
}

} // namespace BRACE_2_18::debug
