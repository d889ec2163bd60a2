#include <libLog/loglevel.h>

#include <algorithm>
#include <array>

namespace mz {

const LogLevel& LogLevel::get(Level level) {
    // Never destroyed: destructors of other globals may still log while the process ends.
    static const auto& levels = *new std::array<LogLevel, 8>{{
        {Off, QStringLiteral("OFF")},
        {Fatal, QStringLiteral("FATAL")},
        {Error, QStringLiteral("ERROR")},
        {Warning, QStringLiteral("WARNING")},
        {Info, QStringLiteral("INFO")},
        {Debug, QStringLiteral("DEBUG")},
        {Trace, QStringLiteral("TRACE")},
        {All, QStringLiteral("ALL")},
    }};
    const auto found = std::find_if(levels.begin(), levels.end(), [level](const LogLevel& each) {
        return each.level() == level;
    });
    return found != levels.end() ? *found : levels.back();
}

const LogLevel& LogLevel::getOff() {
    return get(Off);
}

const LogLevel& LogLevel::getFatal() {
    return get(Fatal);
}

const LogLevel& LogLevel::getError() {
    return get(Error);
}

const LogLevel& LogLevel::getWarning() {
    return get(Warning);
}

const LogLevel& LogLevel::getInfo() {
    return get(Info);
}

const LogLevel& LogLevel::getDebug() {
    return get(Debug);
}

const LogLevel& LogLevel::getTrace() {
    return get(Trace);
}

const LogLevel& LogLevel::getAll() {
    return get(All);
}

}  // namespace mz
