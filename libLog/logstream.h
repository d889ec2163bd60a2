#pragma once

// Where log records go. Applications implement LogStream to show or store them; without one they go
// to standard error.

#include <libCommon/export.h>
#include <libCommon/locationinfo.h>
#include <libCommon/logorigin.h>
#include <libLog/loglevel.h>

#include <QString>

namespace mz {

/// One log record: a plain value that may be copied and kept as long as the library is loaded. The
/// texts of the location are the library's, and so may be the message, whose copies share its text:
/// whoever keeps it longer copies the characters. The code is a text of the record's own.
struct LogRecord {
    LogLevel::Level level;
    LogOrigin origin;
    QString loggerName;
    QString code;     ///< of a failure or of a warning; empty for other records
    QString message;  ///< may have several lines
    LocationInfo location;
};

class DATAIO_EXPORT LogStream {
public:
    virtual ~LogStream();

    /// Takes one record. Calls never overlap: the log library holds one lock for all loggers
    /// meanwhile, so an implementation must not wait for another thread that logs. It may log
    /// itself. What it throws is dropped, because a record that cannot be written must not hide the
    /// failure that it reports. A thread that is cancelled in it ends; the other streams then go
    /// without the record.
    virtual void write(const LogRecord& record) = 0;
};

/// The default stream: each record on a line of its own on standard error, UTC time first. A
/// message of several lines takes as many, the later ones without a time.
class DATAIO_EXPORT StandardErrorStream : public LogStream {
public:
    ~StandardErrorStream() override;
    void write(const LogRecord& record) override;
};

}  // namespace mz
