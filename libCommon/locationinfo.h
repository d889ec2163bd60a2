#pragma once

// Where in the sources a log record or an exception was raised.

#include <libCommon/export.h>

namespace mz {

/// A plain value of two texts and a line number. It owns nothing: the texts must outlive it, as the
/// compiler's own file and function names do.
class DATAIO_EXPORT LocationInfo {
public:
    /// @param fileName source file, relative to the root of the source tree
    /// @param methodName full signature of the function
    /// @param lineNumber line in that file, from 1
    LocationInfo(const char* fileName, const char* methodName, int lineNumber)
        : _fileName(fileName), _methodName(methodName), _lineNumber(lineNumber) {}

    const char* fileName() const { return _fileName; }
    const char* methodName() const { return _methodName; }
    int lineNumber() const { return _lineNumber; }

    /// Stands for an unknown location: "N/A" for both texts, line 0.
    static const LocationInfo locationUnavailable;

private:
    static const char* const _fileNameNA;
    static const char* const _methodNameNA;

    const char* _fileName;
    const char* _methodName;
    int _lineNumber;
};

}  // namespace mz
