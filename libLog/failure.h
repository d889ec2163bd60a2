#pragma once

// The one way in which the library fails: a record on the module's logger, then an exception with
// the same message, code, origin and location. Macros only where the place in the sources is
// taken. Not installed.

#include <libCommon/exceptions.h>
#include <libCommon/locationinfo.h>
#include <libLog/logger.h>

#include <QString>

#include <cerrno>
#include <cstring>

namespace mz {

/// Logs and throws. The message exists once, so that the record and the exception cannot differ.
template <class Exception>
[[noreturn]] void fail(Logger* logger, LogOrigin origin, const char* code, const QString& message,
                       const LocationInfo& location) {
    const QString codeText = QString::fromLatin1(code);
    if (logger->level() >= LogLevel::Error)
        logger->forceLog(LogLevel::getError(), origin, codeText, message, location);
    throw Exception(message, origin, codeText, QString(), location);
}

/// A prefix followed directly by the system's text for an error number. A prefix that has to be
/// made first comes with the number: making it, by a translator for instance, may change errno.
inline QString withSystemError(const QString& prefix, int error) {
    return prefix + QString::fromLocal8Bit(std::strerror(error));
}

/// The same for the current errno, with a prefix that stands in the sources.
inline QString withSystemError(const char* prefix) {
    const int error = errno;
    return withSystemError(QString::fromUtf8(prefix), error);
}

}  // namespace mz

// __FILE__ is relative to the source root (the build maps the leading directories away).
#define DATAIO_HERE \
    mz::LocationInfo(__FILE__, static_cast<const char*>(__PRETTY_FUNCTION__), __LINE__)

/// For a function that fails on behalf of the operation at `location`.
#define DATAIO_FAIL_AT(Exception, logger, origin, code, message, location) \
    mz::fail<Exception>((logger), (origin), (code), (message), (location))

#define DATAIO_FAIL(Exception, logger, origin, code, message) \
    DATAIO_FAIL_AT(Exception, logger, origin, code, message, DATAIO_HERE)

// What does not fail is only logged, and its message only made when somebody listens.
#define DATAIO_LOG(Level, logger, origin, code, message)                                        \
    do {                                                                                        \
        if ((logger)->level() >= mz::LogLevel::Level)                                           \
            (logger)->forceLog(mz::LogLevel::get##Level(), (origin), QString::fromLatin1(code), \
                               (message), DATAIO_HERE);                                         \
    } while (false)

#define DATAIO_LOG_WARNING(logger, origin, code, message) \
    DATAIO_LOG(Warning, logger, origin, code, message)

#define DATAIO_LOG_INFO(logger, origin, code, message) \
    DATAIO_LOG(Info, logger, origin, code, message)
