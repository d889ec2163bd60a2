#pragma once

// How verbose a log record is. A larger value is more verbose; a logger lets through what is not
// above its threshold.

#include <libCommon/export.h>

#include <QString>

#include <limits>

namespace mz {

class DATAIO_EXPORT LogLevel {
public:
    enum Level : int {
        Off = std::numeric_limits<int>::min(),
        Fatal = 0,
        Error = 1,
        Warning = 2,
        Info = 3,
        Debug = 4,
        Trace = 5,
        All = std::numeric_limits<int>::max()
    };

    Level level() const { return _level; }
    /// The level's name in upper case, such as "ERROR".
    QString const& name() const { return _name; }

    // One shared constant instance each; they live as long as the process.
    static LogLevel const& getOff();
    static LogLevel const& getFatal();
    static LogLevel const& getError();
    static LogLevel const& getWarning();
    static LogLevel const& getInfo();
    static LogLevel const& getDebug();
    static LogLevel const& getTrace();
    static LogLevel const& getAll();

    /// The shared instance of a level; getAll() for a value that is not in the enumeration.
    static LogLevel const& get(Level level);

private:
    LogLevel(Level level, QString const& name) : _level(level), _name(name) {}

    Level _level;
    QString _name;
};

}  // namespace mz
