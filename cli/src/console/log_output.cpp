#include "console/log_output.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <memory>
#include <ostream>

namespace lokata::cli {
namespace {

// The library ends its records with a newline, the trace records of log4cplus have none.
class LineLayout : public log4cplus::Layout {
public:
    void formatAndAppend(log4cplus::tostream& output,
                         log4cplus::spi::InternalLoggingEvent const& event) override {
        log4cplus::tstring const& message = event.getMessage();
        output << log4cplus::getLogLevelManager().toString(event.getLogLevel()) << ' ' << message;
        if (message.empty() || message.back() != '\n')
            output << '\n';
    }
};

} // namespace

void showLog(int verbosity) {
    if (verbosity <= 0)
        return;
    log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(true, true));
    appender->setLayout(std::make_unique<LineLayout>());
    for (char const* const name : {"LOKATA", "LOKATA_PROFILE", "optstore2"}) {
        log4cplus::Logger logger = log4cplus::Logger::getInstance(name);
        logger.setLogLevel(verbosity > 1 ? log4cplus::TRACE_LOG_LEVEL : log4cplus::INFO_LOG_LEVEL);
        logger.setAdditivity(false);
        logger.addAppender(appender);
    }
}

} // namespace lokata::cli
