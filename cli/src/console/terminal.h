#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lokata::cli {

bool isTerminal(int descriptor);

/// A terminal that may show colour: not a "dumb" one, and NO_COLOR is unset or empty
/// (https://no-color.org).
bool wantsColour(int descriptor);

/// Parameters of the control sequence SGR (ECMA-48, 8.3.117).
enum class TextStyle { bold = 1, faint = 2, red = 31, green = 32, yellow = 33 };

/// `text` in that style; unchanged without `colour`.
std::string painted(std::string const& text, TextStyle style, bool colour);

/// The number of columns of the terminal; 80 if it is not known.
std::size_t terminalWidth(int descriptor);

/// A line at the bottom of a terminal that says how far a run has come. It shows on standard error,
/// only if that is a terminal; otherwise all operations do nothing.
class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine();
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    /// Redraws, at most ten times a second. `done` of `total` counts in whatever unit the caller
    /// has; a `total` of 0 means that it is not known, and only `requests` is shown.
    void show(std::uint64_t requests, std::uint64_t done, std::uint64_t total);
    /// Takes the line away, to make room for other output.
    void clear();

private:
    bool m_isOn;
    bool m_isDrawn = false;
    std::int64_t m_nextDrawing = 0; ///< Milliseconds of the steady clock.
};

} // namespace lokata::cli
