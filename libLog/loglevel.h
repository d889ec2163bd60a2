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
    const QString& name() const { return _name; }

    // One shared constant instance each; they live as long as the process.
    static const LogLevel& getOff();
    static const LogLevel& getFatal();
    static const LogLevel& getError();
    static const LogLevel& getWarning();
    static const LogLevel& getInfo();
    static const LogLevel& getDebug();
    static const LogLevel& getTrace();
    static const LogLevel& getAll();

    /// The shared instance of a level; getAll() for a value that is not in the enumeration.
    static const LogLevel& get(Level level);

private:
    LogLevel(Level level, const QString& name) : _level(level), _name(name) {}

    Level _level;
    QString _name;
};

}  // namespace mz
