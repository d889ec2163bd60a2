#pragma once

// Where log records go. Applications implement LogStream to show or store them; without one they go
// to standard error.

#include <libCommon/export.h>
#include <libCommon/locationinfo.h>
#include <libCommon/logorigin.h>
#include <libLog/loglevel.h>

#include <QString>

namespace mz {

/// One log record: a plain value that may be copied and kept. The texts of the location belong to
/// the library and live as long as it is loaded.
struct LogRecord {
    LogLevel::Level level;
    LogOrigin origin;
    QString loggerName;
    QString code;  ///< empty for records that report no failure
    QString message;
    LocationInfo location;
};

class DATAIO_EXPORT LogStream {
public:
    virtual ~LogStream();

    /// Takes one record. Calls never overlap: the log library holds one lock for all loggers
    /// meanwhile, so an implementation must not wait for another thread that logs. It may log
    /// itself. What it throws is dropped, because a record that cannot be written must not hide the
    /// failure that it reports.
    virtual void write(LogRecord const& record) = 0;
};

/// The default stream: one line a record on standard error, UTC time first.
class DATAIO_EXPORT StandardErrorStream : public LogStream {
public:
    ~StandardErrorStream() override;
    void write(LogRecord const& record) override;
};

}  // namespace mz
