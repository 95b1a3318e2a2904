#include "console/terminal.h"

#include "console/text_layout.h"
#include "console/texts.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace lokata::cli {

bool isTerminal(int descriptor) {
    return ::isatty(descriptor) == 1;
}

bool wantsColour(int descriptor) {
    char const* const noColour = std::getenv("NO_COLOR");
    char const* const terminal = std::getenv("TERM");
    return isTerminal(descriptor) && (noColour == nullptr || *noColour == '\0') &&
           (terminal == nullptr || std::string_view(terminal) != "dumb");
}

std::size_t terminalWidth(int descriptor) {
    winsize size{};
    return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

std::string painted(std::string const& text, TextStyle style, bool colour) {
    return colour ? "\033[" + std::to_string(static_cast<int>(style)) + "m" + text + "\033[0m"
                  : text;
}

ProgressLine::ProgressLine() : m_isOn(isTerminal(STDERR_FILENO)) {}

ProgressLine::~ProgressLine() {
    clear();
}

void ProgressLine::show(std::uint64_t requests, std::uint64_t done, std::uint64_t total) {
    if (!m_isOn)
        return;
    using namespace std::chrono;
    auto const now = duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
    if (now < m_nextDrawing)
        return;
    m_nextDrawing = now + 100;

    std::string line = textOf(requests == 1 ? Text::search_counted : Text::searches_counted,
                              {std::to_string(requests)});
    std::size_t const width = terminalWidth(STDERR_FILENO);
    if (total > 0 && width > lengthOf(line) + 21) {
        double const share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
        std::size_t const cells = std::min<std::size_t>(40, width - lengthOf(line) - 11);
        auto const filled = static_cast<std::size_t>(share * static_cast<double>(cells));
        line = "[" + std::string(filled, '#') + std::string(cells - filled, ' ') + "] " +
               std::to_string(static_cast<int>(share * 100)) + " %  " + line;
    }
    std::fprintf(stderr, "\r\033[K%s", line.c_str());
    m_isDrawn = true;
}

void ProgressLine::clear() {
    if (m_isDrawn)
        std::fputs("\r\033[K", stderr);
    m_isDrawn = false;
}

} // namespace lokata::cli
