#pragma once

// The one way in which the library fails: a record on the module's logger, then an exception with
// the same message, code, origin and location. Macros, since the location is that of the throw
// site. Not installed.

#include <libCommon/exceptions.h>
#include <libCommon/locationinfo.h>
#include <libLog/logger.h>

#include <QString>

#include <cerrno>
#include <cstring>

// __FILE__ is relative to the source root (the build maps the leading directories away).
#define DATAIO_HERE \
    mz::LocationInfo(__FILE__, static_cast<const char*>(__PRETTY_FUNCTION__), __LINE__)

/// Logs and throws. The message is an expression and is evaluated for the record and again for the
/// exception. With a location, for a function that fails on behalf of the operation at `location`.
#define DATAIO_FAIL_AT(Exception, logger, origin, code, message, location)                 \
    do {                                                                                   \
        if ((logger)->level() >= mz::LogLevel::Error)                                      \
            (logger)->forceLog(mz::LogLevel::getError(), (origin), QString::fromLatin1(code),   \
                               (message), (location));                                     \
        throw Exception((message), (origin), QString::fromLatin1(code), QString(), (location)); \
    } while (false)

#define DATAIO_FAIL(Exception, logger, origin, code, message) \
    DATAIO_FAIL_AT(Exception, logger, origin, code, message, DATAIO_HERE)

#define DATAIO_LOG_WARNING(logger, origin, code, message)                                  \
    do {                                                                                   \
        if ((logger)->level() >= mz::LogLevel::Warning)                                    \
            (logger)->forceLog(mz::LogLevel::getWarning(), (origin), QString::fromLatin1(code), \
                               (message), DATAIO_HERE);                                    \
    } while (false)

#define DATAIO_LOG_INFO(logger, origin, code, message)                                             \
    do {                                                                                           \
        if ((logger)->level() >= mz::LogLevel::Info)                                               \
            (logger)->forceLog(mz::LogLevel::getInfo(), (origin), QString::fromLatin1(code), (message), \
                               DATAIO_HERE);                                                       \
    } while (false)

namespace mz {

/// A fixed prefix followed directly by the system's text for the current errno.
inline QString withSystemError(const char* prefix) {
    return QString::fromUtf8(prefix) + QString::fromLocal8Bit(std::strerror(errno));
}

inline QString withSystemError(QString const& prefix) {
    return prefix + QString::fromLocal8Bit(std::strerror(errno));
}

}  // namespace mz
