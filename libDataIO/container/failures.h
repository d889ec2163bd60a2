#pragma once

// Failures that several classes of this floor and of those above it meet, so that each has one
// text. Not installed.

#include <libLog/failure.h>

namespace mz {

/// The cursor cannot be moved to where a chunk is to be written. Never to be ignored: a chunk
/// written at the wrong place destroys what stands there.
/// @param logger of the class that met it
[[noreturn]] inline void failSeekBeforeWrite(Logger* logger, const LocationInfo& location) {
    DATAIO_FAIL_AT(IOFileException, logger, SOFTWARE, "FDCW_AC_SEEK",
                   QStringLiteral("Cannot seek in file before writing data."), location);
}

/// A file that another writer has open is left to it.
/// @param logger of the class that met it
[[noreturn]] inline void failBusy(Logger* logger, const QString& path,
                                  const LocationInfo& location) {
    DATAIO_FAIL_AT(IOFileException, logger, FILESYSTEM, "FW_OF_BUSY",
                   "File " + path + " is being written by another writer.", location);
}

/// Of what is no file.
inline QString notRegular(const QString& path) {
    return "File " + path + " is not a regular file.";
}

/// Of a chunk that does not lie inside its file.
inline QString chunkOutsideFile() {
    return QStringLiteral("Chunk exceeds file, file may be corrupted.");
}

/// Of a file that the system refuses, for the current errno.
inline QString fileError(const QString& path) {
    const int error = errno;
    return withSystemError(QStringLiteral("File ") + path + QStringLiteral(" : "), error);
}

}  // namespace mz
