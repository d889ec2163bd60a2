#pragma once

// Tools around whole files: taking attributes from one movie to another, and salvaging recordings
// that were never closed or lost their end.

#include <libCommon/export.h>
#include <libDataIO/attributechunk.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/salvagereport.h>

#include <QString>

#include <vector>

namespace mz {

/// Salvaging turns a recording whose info chunk is missing, because the recorder was killed, the
/// disk filled up or the file was cut, into a movie that opens. Chunks are found by their framing,
/// behind damaged places as well, and every whole frame is kept.
///
/// What cannot come back: times, laser powers and fibre positions stay in the recorder's memory
/// until the recording is closed, and so do all attributes. Of a recorder that was killed there are
/// the frames and nothing else. Attributes must be given; take them from a finished movie of the
/// same kind (attributesOf). With another size, pixel type or compression, frames are read wrongly
/// or not at all. Fibre positions can be given as well (fibersOf), from a movie of the same bundle;
/// without them vectorized frames can never be turned into images, and compressed vectorized frames
/// not even be read. The times are lost. A ring recording comes back in the order of the file;
/// should its powers have reached the file, they are in the order of the ring.
///
/// What did reach the file before it was damaged is kept: fibre positions, times and powers as they
/// are, less the entries of frames that are lost; where several places are damaged, so that nobody
/// can tell which frames are missing, times and powers are left out. Attributes of an info chunk at
/// the end win over those given, even if it is torn, and its index keeps the order of the frames.
/// "endian" 2 is added when absent and "data_type" adjusted to the frames, as in a recording. Times
/// among the attributes given are not taken over.
///
/// No operation here asks a reconstruction service, not even the class-wide prototype.
///
/// A file that somebody is recording is refused, and nobody else can write it while it is salvaged;
/// where the file system has no locks it must not be in use. Salvaging reads all of it by calls of
/// the system, every kept frame among it, and takes memory in proportion to its number of chunks
/// and damaged places, at most a few times the file's size, beside one frame. A frame, or a list of
/// times, powers or fibres, that the disk does not give is left out, with the system's reason in
/// the report.
///
/// Failures are IOFileException, origin SOFTWARE, logged on "dataio.imageutilities" first:
///   "IU_S_FORMAT"  a file that is not empty holds no trace of a chunk
///   "IU_S_FRAMES"  there are frames, but none can be read with these attributes
///   "IU_S_SIZE"    fibre positions are given, but no positive width and height
///   "IU_S_SAME"    both names are the same file
///   "IU_S_BUSY"    the file has changed meanwhile
///   "IU_S_FULL"    in place: there is no room within 4 GiB for what has to be appended
///   "IU_S_READ"    SYSCALL: the file, or in place a chunk's header, the index or the attributes,
///                  cannot be read
///   "IU_S_OUTPUT"  FILESYSTEM: the output exists and is no regular file
///   "IU_S_COPY"    FILESYSTEM: a sound file could not be copied
///   "FW_OF_BUSY"   FILESYSTEM: another writer has the file that is to be written; it is not
///   touched
/// and what reading and writing files throws ("FR_OF_…", "FW_OF_…", "FDCW_…", "MM_…", "IR_…").
class DATAIO_EXPORT ImageUtilities {
public:
    /// Takes the attributes of a finished movie, its times apart, into a writer that records a new
    /// one; after its create(), which forgets all attributes. Those of the same name are replaced,
    /// "compression_type" and "endian" among them: call setCompression and attribute("endian", 2)
    /// afterwards, or frames are stored in one way and announced in another.
    /// @throws IOFileException what ImageReader::open throws; the writer is unchanged then
    static void copyRsqFileAttributes(ImageWriter& writer, const QString& fileName);

    /// The attributes of a finished movie without its times, to salvage another one with.
    /// @throws IOFileException what ImageReader::open throws
    static AttributeChunk attributesOf(const QString& fileName);

    /// The fibre positions of a finished movie, x, y pairs in raster pixel coordinates, to salvage
    /// another one with. Empty when it has none.
    /// @throws IOFileException what ImageReader::open and
    ///         ImageReader::getRasterFiberContinuousIndexes throw
    static std::vector<float> fibersOf(const QString& fileName);

    /// Salvages a file in place. Nothing is cut but a torn chunk at its end. Damaged places stay
    /// where they are and the index leads around them: such a file can be read, but perhaps not be
    /// opened by ImageWriter::modify; salvageTo makes one that can. A file that opens is not
    /// touched. After a failure the file is as it was, as far as the system still lets it; every
    /// whole chunk is where it was in any case, and salvaging may be tried again. Should the
    /// process be killed meanwhile, the file does not open and can be salvaged with the same result
    /// again, or it is salvaged. What is appended is written behind the file first, for which there
    /// must be room on the disk, and then moved to its place.
    /// @param fibers positions for a movie that holds none, as fibersOf returns them
    static SalvageReport salvage(const QString& fileName, const AttributeChunk& attributes,
                                 const std::vector<float>& fibers = {});

    /// Writes what can be salvaged into a new file without gaps, the damaged one staying as it is.
    /// A file that opens is copied as it is. Frames that no longer fit below 4 GiB are left out. An
    /// existing `output` is overwritten as soon as it is clear what to write, through a symbolic
    /// link if it is one: after an earlier failure it is as it was, after a later one it is empty.
    /// One that this call has made is removed then.
    static SalvageReport salvageTo(const QString& damaged, const QString& output,
                                   const AttributeChunk& attributes,
                                   const std::vector<float>& fibers = {});
};

}  // namespace mz
