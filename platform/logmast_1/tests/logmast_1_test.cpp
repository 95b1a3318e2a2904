#include <logmast_1/logmast_1.h>

#include <log4cplus/loggingmacros.h>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using log4cplus::Logger;
using logmast_1::log::configureComponentLogger;

Logger const g_atLoad = configureComponentLogger("at.load");

constexpr int c_threadCount = 8;

TEST(ComponentLogger, AFreshProcessStaysQuiet) {
    testing::internal::CaptureStderr();
    LOG4CPLUS_FATAL(g_atLoad, "nobody asked");
    LOG4CPLUS_FATAL(configureComponentLogger("fresh"), "nobody asked");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ComponentLogger, NoCallUndoesALevelThatWasSetAfterAnotherOne) {
    std::vector<std::thread> threads;
    threads.reserve(c_threadCount);
    for (int i = 0; i < c_threadCount; ++i) {
        threads.emplace_back([] {
            Logger logger = configureComponentLogger("contended");
            logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
        });
    }
    for (std::thread& each : threads)
        each.join();
    EXPECT_EQ(Logger::getInstance("contended").getLogLevel(), log4cplus::INFO_LOG_LEVEL);
}

} // namespace
