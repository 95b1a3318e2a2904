#pragma once

#include <lokata/profile/export.h>

#include <log4cplus/loggingmacros.h>
#include <logmast_1/logmast_1.h>

/// The one logger of lokata::profile, at information level. While it is off a statement costs a
/// level test: neither the text nor its parts are built. Names in a text come from foreign files
/// and must have passed displayName().
namespace lokata::profile {

/// Named in every source file that logs, so that the logger is set up when the library is loaded.
static log4cplus::Logger const g_logger =
    logmast_1::log::configureComponentLogger("LOKATA_PROFILE");

inline bool isLogOn() {
    return g_logger.isEnabledFor(log4cplus::INFO_LOG_LEVEL);
}

} // namespace lokata::profile

/// `text` is a chain of stream insertions.
#define LOKATA_PROFILE_LOG(text) LOG4CPLUS_INFO(::lokata::profile::g_logger, text)
