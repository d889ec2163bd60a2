#pragma once

// Records a movie, or changes a finished one: frames with their times and laser powers, the
// positions of the fibres, and every header value as an attribute.
//
// Frames go to the file as they are added; nothing else does before close(), which appends what the
// file needs to be opened: fibre positions, times, powers, and last of all the info chunk with the
// index and the attributes. A recording that is never closed keeps its frames, but cannot be
// opened (ImageUtilities::salvage).
//
// Texts are stored as Latin-1; other characters become "?".
//
// A writer is used by one thread at a time; several, each with its own file, may run in parallel.
//
// A movie has one writer at a time, in whatever process. While it is open it is locked (advisory,
// on file systems that have locks), and create(), modify() and modifyAttribute() of another writer
// are refused: "FW_OF_BUSY", FILESYSTEM, nothing touched. Readers never ask for the lock. A writer
// belongs to the process that opened it: in one that was forked off, close() and the destructor
// give the file up and leave it to the recording process.
//
// Names are given to the system in the encoding of the locale. Files whose names are no text in it
// cannot be opened, nor made. Symbolic links are followed.
//
// Failures are IOFileException with origin SOFTWARE, logged on "dataio.imagewriter" first, unless
// an operation says otherwise. Those of the file itself come from below, on "dataio.fdchunkwriter"
// and "dataio.chunkheader" with origin SYSCALL: "FDCW_AC_WRITE" and "CHB_WFD_WRITE", a full disk
// for instance; "FDCW_TRUNC" when the file cannot be cut, from modify() and from what follows a
// failed close(). "FDCW_AC_SEEK", logged there or here, has SOFTWARE. After a failure, what was
// recorded before is whole, nothing of the failed call stays in the file or in memory, and the call
// may be tried again; where an operation leaves more behind, it says so.

#include <libCommon/export.h>
#include <libCommon/mzpalette.h>
#include <libDataIO/chunkinfo.h>
#include <libDataIO/dataiocommon.h>

#include <QString>
#include <boost/optional.hpp>

#include <sys/time.h>

#include <memory>
#include <vector>

namespace mz {

class MovieRecording;

class DATAIO_EXPORT ImageWriter {
public:
    /// A closed writer. Attributes set before create() or modify() are lost.
    ImageWriter();

    /// Closes a file that is still open; a failure of that is neither thrown nor logged beyond the
    /// failing operation's own record. Call close() to learn of it.
    ~ImageWriter();
    ImageWriter(const ImageWriter&) = delete;
    ImageWriter& operator=(const ImageWriter&) = delete;

    // --- recording ---

    /// Starts a new movie. A file of that name is emptied, a new one is readable by its owner only.
    /// All attributes, times, powers and fibres are forgotten and compression is None again, so
    /// header values are set after create(). A file that is still open is dropped as it stands,
    /// without its info chunk.
    /// @param autotime true: the writer stamps each frame with the current time. false: the caller
    ///        gives the time of each frame, or frames have none
    /// @throws IOFileException "FW_OF_OPEN", SYSCALL; "FW_OF_BUSY", FILESYSTEM
    void create(const QString& fileName, bool autotime);

    /// Finishes the movie: appends fibre positions (if any), times (with autotime, or if any),
    /// laser powers (if any) and the info chunk, and closes the file. "data_type" becomes "vec"
    /// when the last frame that was added has not the size of an image, and "imp" when it says
    /// "vec" but has. Does nothing when closed.
    ///
    /// The system writes to the disk when it likes, and errors that it meets only then are lost:
    /// closing does not tell them. Whoever must know that the movie is on the disk opens the file
    /// and calls fsync() on it after close().
    /// @throws IOFileException "IW_ARFCI_INFO" when there are fibres but no positive "width" and
    ///         "height"; what was appended is cut again, the file stays open and close() may be
    ///         tried again. "FDCW_CF_CLOSE", SYSCALL, when the system reports a failure on closing:
    ///         the writer is closed then
    void close();

    /// Whether there is a file: from create() or modify() to close().
    bool isOpen() const;

    // --- frames ---
    // A frame is an opaque buffer of the caller's, read during the call: pixels row by row from the
    // top, or one sample a fibre (a vectorized frame, whose size must be given).
    //
    // A laser power is a fraction of full power, 0 to 1, and is kept in steps of 1/254; a negative
    // one or a NaN means none. Do not give more than 1: a byte holds the 254ths, so that 1.004
    // reads back as none and 1.01 as 1/254.
    //
    // Times are kept for each frame, but the file holds them in ascending order: times that run
    // backwards end up at other frames.
    //
    // Compression is meant for 16-bit pixels: readers hand compressed frames out as 16-bit samples,
    // width × height of them, whatever the pixel type. Wider pixels are refused.
    //
    // addFrame writes at the writer's position: the end of the file, except after replaceFrame,
    // where it would overwrite the next frame. addFrameAtEnd always appends.
    //
    // @throws IOFileException
    //   "IW_AF_INFO1", "IW_AF_INFO2"
    //       no size given, and "width", "height" or "pixbits" missing
    //   "IW_AF_AUTOTIME1" to "…3"
    //       a time given although the writer takes it itself
    //   "IW_AF_SIZE"
    //       a size that is negative or above 2,147,483,647
    //   "IW_AF_COMPRESS"
    //       to be compressed, and larger than width × height 16-bit samples, both being positive
    //   "IW_AF_FULL"
    //       offsets in the file are 32-bit: with this frame, what close() appends would no longer
    //       end below 4 GiB. 4 MiB are kept free for attributes and fibres set later. close() still
    //       finishes a whole file.
    //   "FDCW_AC_BADFD"
    //       the writer is closed
    // and, when compressed, std::ios_base::failure for a stream longer than one and a half times
    // the largest frame so far (a frame of very few bytes).

    /// A frame of the size that the header says: width × height × whole bytes of "pixbits". The
    /// power is a floating-point number: an int behind `data` is a size, and other integers must be
    /// made one or the other.
    void addFrame(const void* data, float laserPower = -1.0F);
    void addFrame(const void* data, double laserPower);
    void addFrame(const void* data, int size, float laserPower = -1.0F);
    void addFrame(const void* data, timeval time, float laserPower = -1.0F);
    void addFrame(const void* data, int size, timeval time, float laserPower = -1.0F);
    /// One of the four above; a laser power that is absent is -1.
    void addFrame(const void* data, boost::optional<unsigned int> size,
                  boost::optional<timeval> time, boost::optional<float> laserPower);

    void addFrameAtEnd(const void* data, int size, float laserPower = -1.0F);
    void addFrameAtEnd(const void* data, int size, timeval time, float laserPower = -1.0F);

    /// Writes over frame `index` in place. A fault of the disk, or a process that is killed, may
    /// leave a damaged place there, never a frame made of two: salvaging passes over it, and in a
    /// movie that is finished nevertheless readers refuse the frame. After a failure the call may
    /// be tried again. `data` must hold as many bytes as that frame has in the file, which for a
    /// reopened movie of compressed frames are those of its stream: they are replaced as they are.
    /// Its time becomes the current one with autotime and `time` when given, else it stays. Powers
    /// missing up to the last frame are filled up with "none" when `laserPower` is not negative.
    /// @throws IOFileException, in this order, nothing written: "IW_RF_COMPRESS" while a
    ///         compression is set; "IW_RF_AUTOTIME" with a time although the writer takes it
    ///         itself; "IW_RF_FIND", "IW_RF_FIND2" without any frame; "IW_RF_BOUND", "IW_RF_BOUND2"
    ///         beyond the last frame; "IW_RF_TIMER" when it would set the time of a frame that has
    ///         none; "IW_RF_CHUNK" when a damaged index leads to no frame of that size,
    ///         "FDCW_HC_READ", SYSCALL, when that cannot be seen
    void replaceFrame(const void* data, unsigned int index, float laserPower = -1.0F);
    void replaceFrame(const void* data, unsigned int index, timeval time, float laserPower = -1.0F);

    // --- ring recordings ---
    // To be called before close(). Frames stay where they are in the file; their order in the index
    // and that of their powers changes. Times do not move; close() writes them in ascending order.

    /// Frames 0 to circularSize - 1 are a ring whose oldest frame is `firstFrame`; at least one
    /// frame lies behind it. Does nothing for `firstFrame` 0 or without frames.
    /// @throws IOFileException "IW_IO_INDEX" for other arguments, and when there are powers but
    ///         not one a frame: the frames have then been reordered, the powers not
    void organizeIndex(unsigned int firstFrame, unsigned int circularSize);

    /// All frames are a ring whose oldest frame is `firstFrame`. Does nothing without frames.
    /// @throws IOFileException "IW_SFF_BOUND" beyond the last frame, and when there are powers but
    ///         not one a frame: the frames have then been reordered, the powers not
    void setFirstFrame(unsigned int firstFrame);

    // --- changing a finished movie ---

    /// Reopens a finished movie: frames can be added and replaced and attributes changed until
    /// close() finishes it again. Without autotime. The compression of the movie is not taken over:
    /// that of this writer's earlier recording stays, so set it before adding frames. So does the
    /// size of the last frame that this writer was given, by which close() judges "data_type" until
    /// a frame is added. What stands behind the frames is cut from the file and kept in memory; a
    /// process that ends without close() leaves a file that cannot be opened.
    /// @throws IOFileException, the file closed, its bytes as they were and the header, the lists
    ///         and the fibres of this writer empty: origin FILESYSTEM "FDCW_MODIFY" when its last
    ///         chunk is no info chunk or there is no such file (none is left behind),
    ///         "FDCW_MODIFY1" for another byte order or none, "FDCW_MODIFY2", "…3", "…4" when laser
    ///         powers, times or fibres are not where close() puts them; "IW_ARFCI_INFO2" for fibres
    ///         without a positive size; "IW_AF_FULL" when what close() appends would no longer end
    ///         below 4 GiB; "FW_OF_BUSY", "FW_OF_OPEN2", "CI_L_CHUNK", "CHB_…", "FDCW_PC_…",
    ///         "FDCW_TRUNC" from below
    void modify(const QString& fileName);

    /// Replaces all attributes of a finished movie by `attributes`, which must therefore be
    /// complete ("endian", "width", "height", "pixbits" …), and closes it. The writer is closed
    /// afterwards.
    /// @throws IOFileException as modify() but for "FDCW_MODIFY1" to "…4", "IW_ARFCI_INFO2" and
    ///         "IW_AF_FULL", and failures of writing; the file is closed and its bytes are as they
    ///         were
    ///
    /// The new attributes are written behind the old ones first, for which there must be room on
    /// the disk. Should the process be killed meanwhile, the movie opens with the old attributes or
    /// with the new ones, or does not open and is as before once it is salvaged. With the new ones
    /// it may have unused bytes in front of its info chunk, for which modify() may refuse it.
    void modifyAttribute(const QString& fileName, const AttributeChunk& attributes);

    // --- header ---
    // Kept in memory until close(). Any later value replaces an earlier one.

    void width(int pixels);
    void height(int pixels);
    /// Delay between frames; not interpreted by the library.
    void frameDelay(int delay);
    /// Of the data: 2 for images; not interpreted here.
    void dimension(int dimension);
    /// Whether pixels are palette indexes.
    void indexed(bool indexed);
    /// Also sets "pixbits".
    /// @throws IOFileException "IW_PT_INFO" for MZ_UNKNOWN and values outside the enumeration,
    ///         after "pixtype" was set
    void pixType(MZImagePixelType type);
    /// May have several lines. A BEL character becomes a space.
    void setComment(const QString& comment);
    void setSpecificComment(const QString& comment);
    /// How the frames added from now on are compressed; set it once, before the first. None after
    /// create().
    void setCompression(CompressionType::e compression);
    /// How much time that may take. Standard after create().
    void setCompressionEffort(CompressionEffort::e effort);
    /// Sets the palette's attributes; those of further nodes of an earlier palette stay.
    void setPalette(const MzPalette& palette);

    /// Any attribute, by its whole name. A double is kept as the float that is nearest, six digits
    /// of it.
    void attribute(const QString& key, int value);
    void attribute(const QString& key, float value);
    void attribute(const QString& key, double value);
    void attribute(const QString& key, const QString& value);
    /// Sets "plug_" + `key`.
    void setPlugAttribute(const QString& key, int value);
    void setPlugAttribute(const QString& key, float value);
    void setPlugAttribute(const QString& key, double value);
    void setPlugAttribute(const QString& key, const QString& value);
    void removeAttribute(const QString& key);

    /// Whole bytes per pixel by "pixbits", 0 when that is missing.
    int pixBytes() const;
    /// Line breaks restored; null when missing.
    QString getComment() const;
    /// All attributes. The reference is valid as long as the writer.
    AttributeChunk& attributeChunk();

    // --- fibres ---

    /// Replaces the positions of the fibres: x, y pairs in raster pixel coordinates, in the order
    /// of the samples of vectorized frames. They are stored as fractions of the image, clamped into
    /// it.
    void addRasterFiberContinuousIndexes(const std::vector<float>& positions);
    /// Edges of the bundle in raster pixel coordinates.
    void addBundleBoundingBoxCoords(float minX, float minY, float maxX, float maxY);

    /// Prints the state, the index and the attributes to standard output.
    void dumpDebug() const;

private:
    std::unique_ptr<MovieRecording> _recording;
};

}  // namespace mz
