#pragma once

// Tools around whole files: taking attributes from one movie to another, and salvaging recordings
// that were never closed or lost their end.

#include <libCommon/export.h>
#include <libDataIO/attributechunk.h>
#include <libDataIO/imagewriter.h>

#include <QString>

#include <vector>

namespace mz {

/// Bytes of a damaged file that were not kept.
struct SalvageGap {
    qint64 offset;
    qint64 length;
    QString why;
};

/// What salvaging a file has kept and what it has not.
struct SalvageReport {
    bool wasSound = false;        ///< the file opened as it was
    unsigned int framesKept = 0;  ///< each has been read back
    qint64 bytesKept = 0;         ///< of whole chunks, framing included
    qint64 bytesCut = 0;  ///< of the file in place, or bytes that did not go into the new file
    std::vector<SalvageGap> gaps;  ///< in ascending order of offset; what was cut is among them
};

/// Salvaging turns a recording whose info chunk is missing, because the recorder was killed, the
/// disk filled up or the file was cut, into a movie that opens. The chunks are found by their
/// framing, behind damaged places as well. Every whole frame is kept, and so are fibre positions,
/// times and powers if they had reached the file. They do so only when a recording is closed: of a
/// recorder that was killed, the frames come back, but not their times, their laser powers and the
/// fibre positions, and attributes must be given. Take them from a finished movie of the same kind
/// (attributesOf): with another size, pixel type or compression, frames are read wrongly or not at
/// all.
///
/// "endian" 2 is added when absent and "data_type" adjusted to the frames, as in a recording. If
/// the last whole chunk is an info chunk, its attributes win over those given.
///
/// @throws IOFileException, origin SOFTWARE, logged on "dataio.imageutilities": "IU_S_FORMAT" when
/// a file
///         that is not empty holds no trace of a chunk; "IU_S_FRAMES" when there are frames and
///         none can be read with these attributes; "IU_S_SAME" when both names are the same file;
///         with origin SYSCALL or FILESYSTEM "IU_S_READ", "IU_S_COPY". And what reading and writing
///         files throws ("FR_OF_…", "FW_OF_…", "FDCW_…").
class DATAIO_EXPORT ImageUtilities {
public:
    /// Takes the attributes of a finished movie, its times apart, into a writer that records a new
    /// one. Attributes of the same name are replaced, "compression_type" and "endian" among them:
    /// call setCompression afterwards, or frames are compressed in one way and announced in
    /// another.
    /// @throws IOFileException what ImageReader::open throws; the writer is unchanged then
    static void copyRsqFileAttributes(ImageWriter& writer, QString const& fileName);

    /// The attributes of a finished movie without its times, to salvage another one with.
    /// @throws IOFileException what ImageReader::open throws
    static AttributeChunk attributesOf(QString const& fileName);

    /// Salvages a file in place. Nothing is cut but a torn chunk at its end; damaged places in the
    /// middle stay where they are, and the index leads around them. A file that opens is not
    /// touched, nor is one of which the disk does not give every byte ("IU_S_READ"): salvage that
    /// one into another file. After a failure every whole chunk is where it was, and salvaging may
    /// be tried again.
    static SalvageReport salvage(QString const& fileName, AttributeChunk const& attributes);

    /// Copies what can be salvaged into a new file without gaps, the damaged one staying as it is.
    /// A file that opens is copied as it is. An existing `output` is overwritten; after a failure
    /// there is none.
    static SalvageReport salvageTo(QString const& damaged, QString const& output,
                                   AttributeChunk const& attributes);
};

}  // namespace mz
