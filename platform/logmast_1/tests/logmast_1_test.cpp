#include <logmast_1/logmast_1.h>

#include <log4cplus/loggingmacros.h>

#include <gtest/gtest.h>
#include <on_threads.h>

namespace {

using log4cplus::Logger;
using logmast_1::log::configureComponentLogger;

Logger const c_atLoad = configureComponentLogger("at.load");

TEST(ComponentLogger, AFreshProcessStaysQuiet) {
    testing::internal::CaptureStderr();
    LOG4CPLUS_FATAL(c_atLoad, "nobody asked");
    LOG4CPLUS_FATAL(configureComponentLogger("fresh"), "nobody asked");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ComponentLogger, NoCallUndoesALevelThatWasSetAfterAnotherOne) {
    onThreads(8, [](int) {
        Logger logger = configureComponentLogger("contended");
        logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    });
    EXPECT_EQ(Logger::getInstance("contended").getLogLevel(), log4cplus::INFO_LOG_LEVEL);
}

} // namespace
