#include <logmast_1/logmast_1.h>

#include <log4cplus/appender.h>
#include <log4cplus/initializer.h>
#include <toolbelt2/mutex.h>

namespace logmast_1::log {
namespace {

bool is_configured(log4cplus::Logger const& logger) {
    if (logger.getLogLevel() != log4cplus::NOT_SET_LOG_LEVEL)
        return true;
    log4cplus::tstring const rootName = log4cplus::Logger::getRoot().getName();
    log4cplus::Logger each = logger;
    while (each.getAllAppenders().empty() && each.getAdditivity() && each.getName() != rootName)
        each = each.getParent();
    return !each.getAllAppenders().empty();
}

} // namespace

log4cplus::Logger configureComponentLogger(char const* name) {
    // Held over the test and the setting: a level that the process sets after one call has
    // returned is not undone by another call that is under way.
    static toolbelt2::mutex_t s_lock;
    toolbelt2::mutex_guard_t const guard(s_lock);
    log4cplus::initialize();
    log4cplus::Logger logger = log4cplus::Logger::getInstance(name);
    if (!is_configured(logger))
        logger.setLogLevel(log4cplus::OFF_LOG_LEVEL);
    return logger;
}

} // namespace logmast_1::log
