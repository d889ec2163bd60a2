#include <libLog/loglevel.h>

#include <algorithm>
#include <array>

namespace mz {

LogLevel const& LogLevel::get(Level level) {
    // Never destroyed: destructors of other globals may still log while the process ends.
    static auto const& levels = *new std::array<LogLevel, 8>{{
        {Off, QStringLiteral("OFF")},
        {Fatal, QStringLiteral("FATAL")},
        {Error, QStringLiteral("ERROR")},
        {Warning, QStringLiteral("WARNING")},
        {Info, QStringLiteral("INFO")},
        {Debug, QStringLiteral("DEBUG")},
        {Trace, QStringLiteral("TRACE")},
        {All, QStringLiteral("ALL")},
    }};
    const auto found = std::find_if(levels.begin(), levels.end(), [level](LogLevel const& each) {
        return each.level() == level;
    });
    return found != levels.end() ? *found : levels.back();
}

LogLevel const& LogLevel::getOff() {
    return get(Off);
}

LogLevel const& LogLevel::getFatal() {
    return get(Fatal);
}

LogLevel const& LogLevel::getError() {
    return get(Error);
}

LogLevel const& LogLevel::getWarning() {
    return get(Warning);
}

LogLevel const& LogLevel::getInfo() {
    return get(Info);
}

LogLevel const& LogLevel::getDebug() {
    return get(Debug);
}

LogLevel const& LogLevel::getTrace() {
    return get(Trace);
}

LogLevel const& LogLevel::getAll() {
    return get(All);
}

}  // namespace mz
