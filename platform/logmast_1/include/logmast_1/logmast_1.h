#pragma once

#include <log4cplus/logger.h>

namespace logmast_1::log {

/// The logger of a component, ready to use: log4cplus is initialised if it was not. A logger that
/// the process has not configured, neither itself nor an ancestor with an appender, gets the level
/// OFF, so that a program that knows nothing of logging sees nothing, not even a complaint of
/// missing appenders. That level is the logger's own: an appender and a level that the root alone
/// gets afterwards do not wake it. To hear the component, give its own logger a level at any time,
/// and an appender to it or to an ancestor. What the process has configured stays. Further calls
/// with the same name change nothing. Safe from any thread and from static initialisers.
log4cplus::Logger configureComponentLogger(char const* name);

} // namespace logmast_1::log
