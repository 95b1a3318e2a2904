#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lokata::cli {

bool isTerminal(int descriptor);

/// A terminal that may show colour: not a "dumb" one, and NO_COLOR is unset or empty
/// (https://no-color.org).
bool wantsColour(int descriptor);

/// `text` in the colour of an ANSI code such as "31", or as it is.
std::string painted(std::string const& text, char const* code, bool colour);

/// Columns of the terminal; 80 if they are not known.
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
    std::int64_t m_nextDrawing = 0; ///< milliseconds of the steady clock
};

} // namespace lokata::cli
