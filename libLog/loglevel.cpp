#include <libLog/loglevel.h>

namespace mz {

// The instances are never destroyed: destructors of other globals may still log while the process
// ends.

LogLevel const& LogLevel::getOff() {
    static LogLevel const& instance = *new LogLevel(Off, QStringLiteral("OFF"));
    return instance;
}

LogLevel const& LogLevel::getFatal() {
    static LogLevel const& instance = *new LogLevel(Fatal, QStringLiteral("FATAL"));
    return instance;
}

LogLevel const& LogLevel::getError() {
    static LogLevel const& instance = *new LogLevel(Error, QStringLiteral("ERROR"));
    return instance;
}

LogLevel const& LogLevel::getWarning() {
    static LogLevel const& instance = *new LogLevel(Warning, QStringLiteral("WARNING"));
    return instance;
}

LogLevel const& LogLevel::getInfo() {
    static LogLevel const& instance = *new LogLevel(Info, QStringLiteral("INFO"));
    return instance;
}

LogLevel const& LogLevel::getDebug() {
    static LogLevel const& instance = *new LogLevel(Debug, QStringLiteral("DEBUG"));
    return instance;
}

LogLevel const& LogLevel::getTrace() {
    static LogLevel const& instance = *new LogLevel(Trace, QStringLiteral("TRACE"));
    return instance;
}

LogLevel const& LogLevel::getAll() {
    static LogLevel const& instance = *new LogLevel(All, QStringLiteral("ALL"));
    return instance;
}

LogLevel const& LogLevel::get(Level level) {
    switch (level) {
        case Off:
            return getOff();
        case Fatal:
            return getFatal();
        case Error:
            return getError();
        case Warning:
            return getWarning();
        case Info:
            return getInfo();
        case Debug:
            return getDebug();
        case Trace:
            return getTrace();
        case All:
            break;
    }
    return getAll();
}

}  // namespace mz
