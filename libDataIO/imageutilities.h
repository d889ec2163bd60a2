#pragma once

// Small tools around movies: taking attributes from one file to another, and bringing back
// recordings that were never closed.

#include <libCommon/export.h>
#include <libDataIO/imagewriter.h>

#include <QString>

namespace mz {

class DATAIO_EXPORT ImageUtilities {
public:
    /// Takes the attributes of a finished movie, its times apart, into a writer that records a new
    /// one. Attributes of the same name are replaced, "compression_type" and "endian" among them:
    /// call setCompression afterwards, or frames are compressed in one way and announced in
    /// another.
    /// @throws IOFileException what ImageReader::open throws; the writer is unchanged then
    static void copyRsqFileAttributes(ImageWriter& writer, QString const& fileName);
};

}  // namespace mz
