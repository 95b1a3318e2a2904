#include "console/log_output.h"

#include "console/output.h"

#include <log4cplus/consoleappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <memory>
#include <ostream>
#include <string_view>

namespace lokata::cli {
namespace {

/// The library ends its records with a newline, the trace records of log4cplus have none. Names in
/// them are foreign and must not look like further records.
class LineLayout : public log4cplus::Layout {
public:
    void formatAndAppend(log4cplus::tostream& output,
                         log4cplus::spi::InternalLoggingEvent const& event) override {
        std::string_view message = event.getMessage();
        if (!message.empty() && message.back() == '\n')
            message.remove_suffix(1);
        output << log4cplus::getLogLevelManager().toString(event.getLogLevel()) << ' '
               << printable(message) << '\n';
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
