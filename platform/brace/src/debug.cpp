#include <brace/debug.h>

#include <atomic>
#include <cstdio>

namespace BRACE_2_18::debug {
namespace {

void write_to_stderr(char const* text, char const* file, char const* function) {
    std::fprintf(stderr, "%s, at file: %s, in function: %s\n", text, file, function);
}

std::atomic<handler_t> g_handler{&write_to_stderr};

char const* not_null(char const* text) {
    return text != nullptr ? text : "";
}

} // namespace

void report(char const* text, char const* file, char const* function) noexcept {
    g_handler.load()(not_null(text), not_null(file), not_null(function));
}

handler_t set_handler(handler_t handler) noexcept {
    return g_handler.exchange(handler != nullptr ? handler : &write_to_stderr);
}

} // namespace BRACE_2_18::debug
