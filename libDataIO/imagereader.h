#pragma once

// Reads a movie: its header, its frames in any order, the time and laser power of each, the
// positions of the fibres, and a thumbnail.
//
// A reader is used by one thread at a time; several readers, each with its own file, may run in
// parallel.
//
// How long pointers live. A frame pointer is valid until the next request for a frame on the same
// reader (getFrame, getRawFrame, nextFrame, thumbnail), and no longer than until close(), the next
// open() and the end of the reader. Requests for fibres, powers and times and reloadHeader() leave
// it alone. An uncompressed frame that needs no byte swapping is not copied: its pointer leads into
// the mapped file, read-only and with any alignment.
//
// What the reader looks at itself it reads by calls of the system, so that a page that the disk
// cannot give, or a file that another process cuts meanwhile, is an exception. Uncompressed frames
// that are handed out in place are the exception: where the application looks at such pixels, or
// the reader at the header in front of them, the system may send a signal (SIGBUS).
//
// Failures are IOFileException, logged on "dataio.imagereader" first. Besides the codes below,
// every operation that touches the file may meet those of FileReader ("FR_…"), of the chunk reader
// ("MM_…") and of the chunk headers ("CHB_…"), with origin SYSCALL, FILESYSTEM or SOFTWARE. Should
// the system refuse to take memory back, that is a CriticalException "MM_UNMAP", and the file stays
// open. A compressed frame whose stream is damaged gives an exception of the compression library,
// which is derived from std::exception alone, and no record. Missing attributes are never errors.

#include <libCommon/export.h>
#include <libCommon/mzpalette.h>
#include <libDataIO/chunkinfo.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/ireconstructionservice.h>

#include <QString>
#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <sys/time.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

class QImage;

namespace mz {

class DATAIO_EXPORT ImageReader {
public:
    /// Which fibres a query keeps, and in which order. Modes 3 to 5 are modes 0 to 2, sorted row by
    /// row from the top (a row is a rounded y) and from left to right within a row.
    enum FiberFilteringMode : int {
        NoFiberFiltering = 0,         ///< all, in recording order
        ImageSizeFiberFiltering = 1,  ///< all, those outside the image moved onto its border
        /// Those inside the image and the ellipse inscribed in the bounding box; without a box,
        /// those inside the image.
        BundleBoundingBoxFiberFiltering = 2,
        NoFiberFilteringButSortFibers = 3,
        ImageSizeFiberFilteringAndSortFibers = 4,
        BundleBoundingBoxFiberFilteringAndSortFibers = 5
    };

    /// A closed reader.
    /// @param service turns vectorized frames into images; when null or not given, the reader takes
    ///        a clone of the class-wide prototype, if one is set
    ImageReader();
    ImageReader(boost::shared_ptr<IReconstructionService> service);
    ImageReader(std::nullptr_t noService);

    /// The same, then open(fileName), with its failures.
    explicit ImageReader(const QString& fileName);
    ImageReader(const QString& fileName, boost::shared_ptr<IReconstructionService> service);

    /// An open reader without a service, the class-wide prototype left aside, for tools that take
    /// frames as they are stored. Fails as open().
    static ImageReader withoutService(const QString& fileName);

    ~ImageReader();
    ImageReader(const ImageReader&) = delete;
    ImageReader& operator=(const ImageReader&) = delete;

    /// Replaces the prototype that readers constructed from now on clone. Null ends that. Not
    /// guarded: set it before several threads make readers.
    static void setReconstructionServiceFactory(boost::shared_ptr<IReconstructionService> factory);

    // --- opening and closing ---

    /// Opens a finished movie and loads its index, attributes, times and laser powers. What was
    /// open before is closed and forgotten first. For a vectorized movie the fibre positions are
    /// read and the reconstruction service, if there is one, is prepared.
    ///
    /// The name is given to the system in the encoding of the locale: a file whose name is no text
    /// in it cannot be opened. A pipe is refused and never waited for.
    /// @throws IOFileException "FR_OF_STAT", "FR_OF_REGFILE", "FR_OF_OPEN" when there is no such
    ///        file; "IR_MISSINFO" when its last chunk is not an info chunk; "CI_L_CHUNK" when that
    ///        holds no whole index; for vectorized movies "IR_GRFI_NOSIZE" when there are fibres
    ///        but no size, and, with a service, "IR_GRF_SIZE" when the image is negative, or above
    ///        16 MiB and more than 4,096 pixels a fibre or than memory holds. After a failure
    ///        getFilename() is the name that was given, and header, frames, times and powers are
    ///        those of an empty movie.
    void open(const QString& fileName);

    /// Reads index and attributes again from the last info chunk of the open file. The number of
    /// frames, the compression, times and powers stay those of the last open(), and a frame pointer
    /// stays valid.
    /// @throws IOFileException "IR_MISSINFO", the header staying as it is; "CI_L_CHUNK", after
    ///         which it is empty
    void reloadHeader();

    /// Closes the file; getFilename() is null then, and frame and fibre requests find nothing.
    /// Header, times and powers stay readable.
    /// @throws CriticalException "MM_UNMAP"; the file stays open
    void close();

    /// The name given to open(); null while closed.
    QString getFilename() const;

    /// Prints index and attributes to standard output.
    void dumpDebug() const;

    // --- frames ---

    unsigned int nbFrames() const;

    /// The frame last requested, or the one that nextFrame() would read. nextFrame() can carry it
    /// beyond nbFrames().
    unsigned int currFrameIdx() const;

    /// Where the index says that frame `index` lies in the file and how many bytes it has there;
    /// empty when there is no such frame. Nothing but the index is looked at.
    std::optional<ChunkRecord> frameRecord(unsigned int index) const;

    /// Points `data` at frame `idx`, from 0: pixels row by row from the top, of pixType(), or
    /// 16-bit samples when the movie is compressed, whatever its pixel type. Vectorized frames are
    /// reconstructed to width × height 16-bit samples. Sets currFrameIdx() to `idx`. An
    /// uncompressed frame may be shorter than the header says: getRawFrame tells its size.
    /// @return false when there is no such frame; `data` and currFrameIdx() are untouched then
    /// @throws IOFileException "IR_UNSUPPORTED_FORMAT" for a vectorized movie without a service,
    ///        "IR_GF_SIZE" for a vectorized frame shorter than its fibres, and what getRawFrame
    ///        throws
    bool getFrame(const void*& data, unsigned int idx);

    /// The same without reconstruction: vectorized frames give one 16-bit sample a fibre.
    /// @return the bytes at `data`; empty when there is no such frame, `data` and currFrameIdx()
    ///        are untouched then
    /// @throws IOFileException "IR_RC_BOUND" when reloadHeader() has left fewer frames than `idx`,
    ///        though not none;
    ///        "IR_MISSINFO" when the frame is gone because the file was cut; "IR_GRF_SIZE" when the
    ///        header asks for a frame that is negative, of 4 GiB or more, above 16 MiB and more
    ///        than its stream can hold, or more than memory holds; for a damaged stream or one
    ///        longer than the frame the exception of the compression library, derived from
    ///        std::exception and not logged. A stream that is too short leaves the rest of the
    ///        frame as the previous frame left it, zeros at first.
    boost::optional<unsigned int> getRawFrame(const void*& data, unsigned int idx);

    /// getFrame of currFrameIdx(), then steps on by one, also when nothing was read. After
    /// getFrame(i) it therefore reads frame i again.
    bool nextFrame(const void*& data);

    /// Makes frame 0 the next one. Always true.
    bool rewind();

    /// A small picture of frame `frameIdx`, at most `maxWidth` × `maxHeight`, in the proportions of
    /// the movie. 8-bit frames become 8-bit indexed images without a colour table, 16-bit frames
    /// RGB32 images in the movie's palette after an automatic contrast step, samples equal to
    /// getMaskLevel() black; 16-bit movies of data dimension 1 give a built-in placeholder of 160 ×
    /// 120. Small frames are enlarged. It is a request for that frame: earlier frame pointers end,
    /// and currFrameIdx() is `frameIdx`. Samples outside the palette's crop range, and an empty
    /// range, are warned of ("PIXOUTOFRANGE" on "dataio.imagereader") and shown all the same.
    /// @return false, with `image` untouched, when the size is missing or below 1, a maximum is
    ///        below 1 or so small that a side would have no pixel, the frame cannot be read or is
    ///        too short, or for other pixel types and data dimensions. Nothing is thrown; what
    ///        getFrame logs when a frame cannot be read is logged here as well.
    bool thumbnail(QImage& image, int maxWidth, int maxHeight, int frameIdx);

    // --- header ---
    // False means one of two things: the attribute is missing, and the argument untouched; or it is
    // no number, and the argument 0.

    bool width(int& pixels) const;
    bool height(int& pixels) const;
    /// As the recording application has set it; the library does not interpret it.
    bool frameDelay(int& delay) const;
    /// As the recording application has set it.
    bool dimension(int& dimension) const;
    /// Bits per pixel, by the pixel type or else by "pixbits".
    bool pixBits(int& bits) const;
    /// Whole bytes per pixel, 0 when the bits are not known.
    int pixBytes() const;
    /// By "pixtype", as it stands there, or else the unsigned integer of "pixbits" bits.
    /// @return false, with MZ_UNKNOWN in `type`, when neither tells
    bool pixType(MZImagePixelType& type) const;
    /// "endian": 2 for samples in little-endian order, 0 when missing (taken as 2 by all requests);
    /// any other value is the other order, from which frames and fibres are converted.
    int endian() const;
    /// Offset of local time from UTC at the recording, in seconds, east positive; 0 when not
    /// `present`.
    int utcOffsetSeconds(bool& present, bool& trustable) const;
    /// "raw", "imp" or "vec" (vectorized). Without the attribute, "raw" for movies whose width is
    /// above 895 pixels and whose height is there, and "imp" for others.
    QString dataType() const;
    /// -32768 when missing.
    int getMaskLevel() const;
    /// Line breaks restored; null when missing.
    QString getComment() const;
    QString getSpecificComment() const;
    /// The display palette. When nothing of one is there, the default, black to white.
    /// @return whether the attributes held a whole palette; of a broken one `palette` has the nodes
    ///         in front of the break
    bool palette(MzPalette& palette) const;

    /// The value of `key` exactly as given. What is not a number gives 0 and false. A double is the
    /// float, widened.
    bool attribute(const QString& key, int& value) const;
    bool attribute(const QString& key, float& value) const;
    bool attribute(const QString& key, double& value) const;
    bool attribute(const QString& key, QString& value) const;

    /// All attributes, in memory: changes are lost at the next open() or reloadHeader(). The
    /// reference is valid as long as the reader.
    AttributeChunk& attributeChunk();
    const AttributeChunk& attributeChunk() const;

    /// Set "plug_" + `key`, in memory only; a double is kept as the float that is nearest.
    /// attribute() and removeAttribute() want that whole name.
    void setAttribute(const QString& key, int value);
    void setAttribute(const QString& key, float value);
    void setAttribute(const QString& key, double value);
    void setAttribute(const QString& key, const QString& value);
    void removeAttribute(const QString& key);

    // --- fibres ---
    // Empty lists when the movie has none. They are read from the file at each request.
    //
    // @throws IOFileException, the list untouched, once the movie has fibres: "IR_GRFI_NOSIZE"
    //        when its size is missing, "IR_GRFI_UMODE" when `mode` is none of the enumeration,
    //        "IR_MISSINFO" when the fibres are gone because the file was cut

    /// x, y pairs in raster pixel coordinates: 0 is the left or top edge of pixel 0.
    void getRasterFiberContinuousIndexes(std::vector<float>& out, FiberFilteringMode mode) const;
    /// The same, rounded to the nearest pixel, halves up.
    void getRasterFiberIndexes(std::vector<unsigned int>& out, FiberFilteringMode mode) const;
    /// Pixel offset y × width + x of each rounded position.
    void getFiberOffsets(std::vector<unsigned int>& out, FiberFilteringMode mode) const;
    /// x, y pairs in units of the image's longer side, centred on pixels, y pointing up.
    void getWorldFiberCenters(std::vector<float>& out, FiberFilteringMode mode) const;
    int nbFibers(FiberFilteringMode mode) const;

    /// min x, min y, max x, max y of the bundle in raster pixel coordinates.
    /// @return false, with `bbox` empty, unless all four are known
    bool getBundleBoundingBox(std::vector<float>& bbox) const;

    // --- laser power and time of frames ---
    // laserPower and frameTiming speak of currFrameIdx(): after getFrame(i) of frame i, after
    // nextFrame() of the frame behind the one just read.

    /// Fraction of full power. False or empty when the frame has none.
    bool laserPower(float& power) const;
    bool getLaserPower(unsigned int idx, float& power) const;
    boost::optional<float> getLaserPower(unsigned int idx) const;

    /// Time of recording. False or empty when the frame has none.
    bool frameTiming(timeval& time) const;
    bool getFrameTiming(unsigned int idx, timeval& time) const;
    boost::optional<timeval> getFrameTiming(unsigned int idx) const;

private:
    friend struct FrameReading;
    struct State;
    explicit ImageReader(std::unique_ptr<State> state);

    std::unique_ptr<State> _state;
};

}  // namespace mz
