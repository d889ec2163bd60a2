#include <libCommon/exceptions.h>

namespace mz {

BaseException::BaseException(const QString& msg, LogOrigin origin, const QString& code,
                             const QString& techDetails, const LocationInfo& location)
    : _msg(msg),
      _origin(origin),
      _code(code),
      _techDetailsMsg(techDetails),
      _locationInfo(location),
      _what((code + QStringLiteral(": ") + msg).toStdString()) {}

// Defined here so that each class has one home for its type information, inside the library.
BaseException::~BaseException() noexcept = default;
RecoverableException::~RecoverableException() noexcept = default;
CriticalException::~CriticalException() noexcept = default;
IOFileException::~IOFileException() noexcept = default;
SaveException::~SaveException() noexcept = default;
UserMgmtException::~UserMgmtException() noexcept = default;
BufferException::~BufferException() noexcept = default;
ConfigException::~ConfigException() noexcept = default;

}  // namespace mz
