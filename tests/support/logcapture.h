#pragma once

// Catches the log records of the library while a test runs, and keeps them off standard error.

#include <libLog/logger.h>

#include <boost/smart_ptr/make_shared.hpp>

#include <vector>

namespace mz::test {

class LogCapture {
public:
    explicit LogCapture(LogLevel::Level level = LogLevel::All)
        : _logger(Logger::logger(QStringLiteral("dataio"))), _stream(boost::make_shared<Stream>()) {
        _logger->setLevel(level);
        _logger->inheritLogStreams(false);
        _logger->addLogStream(_stream);
    }
    ~LogCapture() {
        _logger->removeLogStream(_stream);
        _logger->inheritLogStreams(true);
        _logger->inheritLevel(true);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<LogRecord>& records() const { return _stream->records; }
    void clear() { _stream->records.clear(); }

private:
    struct Stream : LogStream {
        void write(const LogRecord& record) override { records.push_back(record); }
        std::vector<LogRecord> records;
    };

    Logger* _logger;
    boost::shared_ptr<Stream> _stream;
};

}  // namespace mz::test
