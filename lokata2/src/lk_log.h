#pragma once

#include <log4cplus/loggingmacros.h>
#include <logmast_1/logmast_1.h>

#include <optional>
#include <sstream>

/// The library's one logger. A statement costs a level test when its level is off: neither the text
/// nor its parts are built.
namespace LK_2_13 {

/// Named in every source file that logs, so that the logger is set up when the library is loaded.
static log4cplus::Logger const g_logger = logmast_1::log::configureComponentLogger("LOKATA");

/// Writes "ENTER: " and "EXIT:  " with the signature at trace level around a scope.
class ScopedTrace {
public:
    ScopedTrace(char const* signature, char const* file, int line) {
        if (g_logger.isEnabledFor(log4cplus::TRACE_LOG_LEVEL))
            m_trace.emplace(g_logger, signature, file, line, signature);
    }

private:
    std::optional<log4cplus::TraceLogger> m_trace;
};

} // namespace LK_2_13

/// `text` is a chain of insertions and must not stand in parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define LK_LOG_AT(level, text)                                                                     \
    do {                                                                                           \
        if (::LK_2_13::g_logger.isEnabledFor(level)) {                                             \
            std::ostringstream lkLogText;                                                          \
            lkLogText << text << std::endl; /* NOLINT(performance-avoid-endl) */                   \
            ::LK_2_13::g_logger.forcedLog(level, lkLogText.str(), __FILE__, __LINE__, __func__);   \
        }                                                                                          \
    } while (false)

/// `text` is a chain of stream insertions.
#define LK_LOG_INFO(text) LK_LOG_AT(log4cplus::INFO_LOG_LEVEL, text)
/// The text of a fault ends with the place that reports it.
#define LK_LOG_ERROR(text)                                                                         \
    LK_LOG_AT(log4cplus::ERROR_LOG_LEVEL, text << ", at file: " << __FILE__ << ":" << __LINE__)
// NOLINTEND(bugprone-macro-parentheses)
/// The trace text is the compiler's full signature of the function.
#define LK_TRACE()                                                                                 \
    ::LK_2_13::ScopedTrace const lkScopedTrace(__PRETTY_FUNCTION__, __FILE__, __LINE__)
