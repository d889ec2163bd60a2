#pragma once

// Copies a file that needs no salvaging.

#include <QString>

namespace mz {

/// Makes `output` a copy of the file, byte by byte. A link is written through. After a failure an
/// output that this call has made is gone, and one that was there is empty, but for those failures
/// that come before it is opened.
/// @throws IOFileException "IU_S_COPY", "FW_OF_BUSY"
void copyWhole(const QString& fileName, const QString& output);

}  // namespace mz
