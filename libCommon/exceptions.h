#pragma once

// The exception family through which failures of the library reach their caller. All are
// polymorphic, copyable and thrown by value; each was logged before it was thrown, where its logger
// lets errors through. Outside the family, and not logged, are what the compression libraries throw
// for a damaged stream and what the C++ library does when memory runs out: all of them, and these,
// derive from std::exception.
//
//   BaseException
//   ├── RecoverableException     the operation failed, the program goes on
//   │   ├── IOFileException      nearly every failure of this library
//   │   ├── SaveException
//   │   └── UserMgmtException
//   └── CriticalException        something that must not fail did, such as giving memory back
//       ├── BufferException
//       └── ConfigException

#include <libCommon/export.h>
#include <libCommon/locationinfo.h>
#include <libCommon/logorigin.h>

#include <QString>
#include <boost/exception/exception.hpp>

#include <exception>
#include <string>

namespace mz {

class DATAIO_EXPORT BaseException : public boost::exception, public std::exception {
public:
    /// @param msg what happened, for a person
    /// @param origin the part of the system that failed
    /// @param code short upper-case tag of the failure, such as "IR_RC_BOUND"
    /// @param techDetails further details for the developers; this library leaves it empty
    /// @param location where it was raised
    BaseException(const QString& msg, LogOrigin origin, const QString& code,
                  const QString& techDetails, const LocationInfo& location);
    BaseException(const BaseException&) = default;
    BaseException& operator=(const BaseException&) = default;
    ~BaseException() noexcept override;

    // A message may be a literal of the library, which copies of it share: whoever unloads the
    // library keeps none of them, nor an exception, whose type goes with it.
    const QString& message() const { return _msg; }
    LogOrigin origin() const { return _origin; }
    const QString& code() const { return _code; }
    /// Reserved for a call stack; this library does not record one, so it is empty.
    const QString& stackTrace() const { return _stackTrace; }
    const QString& techDetailsMsg() const { return _techDetailsMsg; }
    const LocationInfo& locationInfo() const { return _locationInfo; }

    /// "CODE: message" in UTF-8. The text belongs to the exception and lives as long as it does.
    const char* what() const noexcept override { return _what.c_str(); }

private:
    QString _msg;
    LogOrigin _origin;
    QString _code;
    QString _stackTrace;
    QString _techDetailsMsg;
    LocationInfo _locationInfo;
    std::string _what;
};

class DATAIO_EXPORT RecoverableException : public BaseException {
public:
    using BaseException::BaseException;
    ~RecoverableException() noexcept override;
};

class DATAIO_EXPORT CriticalException : public BaseException {
public:
    using BaseException::BaseException;
    ~CriticalException() noexcept override;
};

class DATAIO_EXPORT IOFileException : public RecoverableException {
public:
    using RecoverableException::RecoverableException;
    ~IOFileException() noexcept override;
};

class DATAIO_EXPORT SaveException : public RecoverableException {
public:
    using RecoverableException::RecoverableException;
    ~SaveException() noexcept override;
};

class DATAIO_EXPORT UserMgmtException : public RecoverableException {
public:
    using RecoverableException::RecoverableException;
    ~UserMgmtException() noexcept override;
};

class DATAIO_EXPORT BufferException : public CriticalException {
public:
    using CriticalException::CriticalException;
    ~BufferException() noexcept override;
};

class DATAIO_EXPORT ConfigException : public CriticalException {
public:
    using CriticalException::CriticalException;
    ~ConfigException() noexcept override;
};

}  // namespace mz
