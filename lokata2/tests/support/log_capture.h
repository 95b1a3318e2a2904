#pragma once

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <mutex>
#include <string>
#include <vector>

namespace LK_2_13::test {

/// Hears the library's logger while it lives, then leaves the logger as it was. The logger must
/// have its default parent, the root.
class LogCapture {
public:
    struct Record {
        log4cplus::LogLevel level;
        std::string text;
    };

    explicit LogCapture(log4cplus::LogLevel level = log4cplus::INFO_LOG_LEVEL)
        : m_level(m_logger.getLogLevel()), m_pAppender(new Recorder) {
        m_logger.setLogLevel(level);
        m_logger.addAppender(m_pAppender);
    }
    ~LogCapture() {
        m_logger.removeAppender(m_pAppender);
        m_logger.setLogLevel(m_level);
    }
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    std::vector<Record> records() const { return recorder().records(); }

    /// All texts, one after the other.
    std::string text() const {
        std::string result;
        for (Record const& record : records())
            result += record.text;
        return result;
    }

private:
    class Recorder : public log4cplus::Appender {
    public:
        ~Recorder() override { destructorImpl(); }
        void close() override { closed = true; }

        std::vector<Record> records() const {
            std::lock_guard const guard(m_mutex);
            return m_records;
        }

    protected:
        void append(log4cplus::spi::InternalLoggingEvent const& event) override {
            std::lock_guard const guard(m_mutex);
            m_records.push_back({event.getLogLevel(), event.getMessage()});
        }

    private:
        mutable std::mutex m_mutex;
        std::vector<Record> m_records;
    };

    Recorder const& recorder() const { return static_cast<Recorder const&>(*m_pAppender); }

    log4cplus::Logger m_logger = log4cplus::Logger::getInstance("LOKATA");
    log4cplus::LogLevel m_level;
    log4cplus::SharedAppenderPtr m_pAppender;
};

} // namespace LK_2_13::test
