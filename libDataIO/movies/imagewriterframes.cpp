// Adding and replacing frames, and the order of ring recordings.

#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/movies/imagewriterlog.h>
#include <libDataIO/payloads/laserpower.h>
#include <libDataIO/base/makeroom.h>

#include <QObject>

#include <algorithm>
#include <limits>

namespace mz {

namespace {

constexpr int64_t chunkFraming = 32;  // start and end header
constexpr int64_t maxFileSize = std::numeric_limits<uint32_t>::max();

/// Kept free for attributes and fibre positions that are set after the last frame.
constexpr int64_t reservedForLater = 4 << 20;

/// Further from the limit than this, the attributes are not even counted.
constexpr int64_t farFromFull = 256 << 20;

/// The time of recording; zero when the system does not tell.
timeval now() {
    timeval time{};
    if (gettimeofday(&time, nullptr) != 0) time = {};
    return time;
}

QString headerIncomplete() {
    return QStringLiteral(
        "Width, height and pixbitsof the picture must be defined before adding frames.");
}

QString timeIsAutomatic() {
    return QStringLiteral("AddFrame with a frametiming cannot be used with autotime=true");
}

}  // namespace

// --- adding ---

void ImageWriter::addFrame(void const* data, float laserPower) {
    std::optional<int64_t> size;
    if (!_headerFrameSize(size)) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_INFO1",
                    headerIncomplete());
    }
    _addFrame(data, _checkedSize(size), boost::none, laserPower);
}

void ImageWriter::addFrame(void const* data, double laserPower) {
    addFrame(data, static_cast<float>(laserPower));
}

void ImageWriter::addFrame(void const* data, int size, float laserPower) {
    _addFrame(data, _checkedSize(int64_t{size}), boost::none, laserPower);
}

void ImageWriter::addFrame(void const* data, timeval time, float laserPower) {
    std::optional<int64_t> size;
    if (!_headerFrameSize(size)) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_INFO2",
                    headerIncomplete());
    }
    if (_autotime) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_AUTOTIME1",
                    timeIsAutomatic());
    }
    _addFrame(data, _checkedSize(size), time, laserPower);
}

void ImageWriter::addFrame(void const* data, int size, timeval time, float laserPower) {
    if (_autotime) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_AUTOTIME2",
                    timeIsAutomatic());
    }
    _addFrame(data, _checkedSize(int64_t{size}), time, laserPower);
}

void ImageWriter::addFrame(void const* data, boost::optional<unsigned int> size,
                           boost::optional<timeval> time, boost::optional<float> laserPower) {
    const float power = laserPower.value_or(noLaserPower);
    // A size beyond the range of int turns negative, and is refused as such.
    if (size && time) {
        addFrame(data, static_cast<int>(*size), *time, power);
    } else if (size) {
        addFrame(data, static_cast<int>(*size), power);
    } else if (time) {
        addFrame(data, *time, power);
    } else {
        addFrame(data, power);
    }
}

void ImageWriter::addFrameAtEnd(void const* data, int size, float laserPower) {
    const unsigned int checkedSize = _checkedSize(int64_t{size});
    _seekEnd();
    _addFrame(data, checkedSize, boost::none, laserPower);
}

void ImageWriter::addFrameAtEnd(void const* data, int size, timeval time, float laserPower) {
    if (_autotime) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_AUTOTIME3",
                    timeIsAutomatic());
    }
    const unsigned int checkedSize = _checkedSize(int64_t{size});
    _seekEnd();
    _addFrame(data, checkedSize, time, laserPower);
}

/// @return false when the header lacks a value; otherwise `size` is that of a frame, or empty when
///        the values make none
bool ImageWriter::_headerFrameSize(std::optional<int64_t>& size) const {
    int width = 0;
    int height = 0;
    int bits = 0;
    if (!_info.get(QStringLiteral("width"), width) ||
        !_info.get(QStringLiteral("height"), height) ||
        !_info.get(QStringLiteral("pixbits"), bits)) {
        return false;
    }
    size = frameBytes(width, height, wholeBytes(bits));
    return true;
}

unsigned int ImageWriter::_checkedSize(std::optional<int64_t> size) const {
    if (!size || *size < 0 || *size > std::numeric_limits<int>::max()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_SIZE",
                    QStringLiteral("Frame size is invalid."));
    }
    return static_cast<unsigned int>(*size);
}

void ImageWriter::_addFrame(void const* data, unsigned int size, boost::optional<timeval> time,
                            float laserPower) {
    makeRoomForOne(_ftimer);
    makeRoomForOne(_laserPower);
    _addFrameChunk(data, size);
    if (time || _autotime) _ftimer.push_back(time ? *time : now());
    _laserPower.push_back(laserPower);
}

void ImageWriter::_addFrameChunk(void const* data, unsigned int size) {
    _frameSize = size;
    size_t payloadSize = size;
    if (_compression != CompressionType::None) {
        payloadSize = _encoder->encode(_compression, _effort, data, size);
        data = _encoder->stream();
    }
    if (!_fits(static_cast<int64_t>(payloadSize))) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_FULL",
                    QStringLiteral("File would exceed the size that its index can address."));
    }
    _addOrReplaceChunk(MZ_CT_FRAME, data, payloadSize);
}

size_t ImageWriter::_frameCount() const {
    const std::vector<ChunkRecord>* frames = _info.find(MZ_CT_FRAME);
    return frames != nullptr ? frames->size() : 0;
}

/// Whether, with one more frame of that payload, close() can still append all that the file needs.
bool ImageWriter::_fits(int64_t payloadSize) const {
    const int64_t endOfFrames =
        std::max<int64_t>(_fileEnd, _writer.tell() + payloadSize + chunkFraming);
    const auto frames = static_cast<int64_t>(_frameCount()) + 1;
    int64_t needed = chunkFraming * 4 + ChunkIndex::storedSize(frames + 3) + reservedForLater;
    needed += static_cast<int64_t>(_fibercenters.size() * sizeof(uint32_t));
    needed +=
        frames * static_cast<int64_t>(FrameTimer::rawRecordSize + 1);  // a time and a power each
    if (endOfFrames + needed + farFromFull <= maxFileSize) return true;

    for (auto const& [key, value] : _info.attributes()) {
        needed += key.size() + value._val.size() + 2;
    }
    return endOfFrames + needed <= maxFileSize;
}

// --- replacing ---

void ImageWriter::replaceFrame(void const* data, unsigned int index, float laserPower) {
    _checkReplaceable();
    const std::vector<ChunkRecord>* frames = _info.find(MZ_CT_FRAME);
    if (frames == nullptr) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_FIND",
                    QObject::tr("Cannot replace frame, indice out of bounds."));
    }
    if (index >= frames->size()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_BOUND",
                    QObject::tr("Cannot replace Frame, indice out of bounds."));
    }
    if (_autotime) _checkHasTime(index);
    _replaceFrameChunk(data, (*frames)[index]);
    if (_autotime) _ftimer[index] = now();
    _replaceLaserPower(index, laserPower);
}

void ImageWriter::replaceFrame(void const* data, unsigned int index, timeval time,
                               float laserPower) {
    _checkReplaceable();
    if (_autotime) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_AUTOTIME",
                    QObject::tr("AddFrame with a frametiming cannot be used with autotime=true"));
    }
    const std::vector<ChunkRecord>* frames = _info.find(MZ_CT_FRAME);
    if (frames == nullptr) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_FIND2",
                    QObject::tr("Cannot replace frame, indice out of bounds."));
    }
    if (index >= frames->size()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_BOUND2",
                    QObject::tr("Cannot replace Frame, indice out of bounds."));
    }
    _checkHasTime(index);
    _replaceFrameChunk(data, (*frames)[index]);
    _ftimer[index] = time;
    _replaceLaserPower(index, laserPower);
}

void ImageWriter::_checkReplaceable() const {
    if (_compression != CompressionType::None) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_COMPRESS",
                    QObject::tr("Cannot replace frame when using compression."));
    }
}

/// Times before a missing one would have to be invented.
void ImageWriter::_checkHasTime(unsigned int index) const {
    if (index >= _ftimer.size()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_TIMER",
                    QObject::tr("Cannot replace the time of a frame that has none."));
    }
}

void ImageWriter::_replaceFrameChunk(void const* data, ChunkRecord const& record) {
    _laserPower.reserve(_frameCount());
    // A damaged index could lead into the middle of other frames, or take more bytes of the caller
    // than the frame has.
    if (_writer.openned() && !_writer.hasChunkAt(record.offset, MZ_CT_FRAME, record.length)) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_CHUNK",
                    QStringLiteral("Frame is not where the index says, file may be corrupted."));
    }
    if (_writer.openned() && !_writer.seek(record.offset)) _failSeek();
    _writer.addChunk(MZ_CT_FRAME, data, record.length);
}

void ImageWriter::_replaceLaserPower(unsigned int index, float laserPower) {
    const size_t frames = _frameCount();
    if (laserPower >= 0 && _laserPower.size() < frames) _laserPower.resize(frames, noLaserPower);
    if (index < _laserPower.size()) _laserPower[index] = laserPower;
}

// --- ring recordings ---

namespace {

/// Makes element `first` of the leading `size` ones the first of them.
template <class Sequence>
void rotateFront(Sequence& sequence, unsigned int first, size_t size) {
    const auto begin = sequence.begin();
    std::rotate(begin, begin + static_cast<std::ptrdiff_t>(first),
                begin + static_cast<std::ptrdiff_t>(size));
}

}  // namespace

void ImageWriter::organizeIndex(unsigned int firstFrame, unsigned int circularSize) {
    if (firstFrame == 0 || !_info.has(MZ_CT_FRAME)) return;
    std::vector<ChunkRecord>& frames = _info[MZ_CT_FRAME];
    const size_t count = frames.size();
    if (firstFrame >= count || circularSize >= count || firstFrame >= circularSize) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_IO_INDEX",
                    QStringLiteral("ImageWriter::organizeIndex: bad arguments.\n"
                                   "firstFrame %1 \n circularSize %2 \n index size %3")
                        .arg(firstFrame)
                        .arg(circularSize)
                        .arg(count));
    }
    rotateFront(frames, firstFrame, circularSize);
    if (_laserPower.empty()) return;
    if (_laserPower.size() != count) {
        // The two "%d" are part of the text that callers know.
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_IO_INDEX",
                    QStringLiteral("Warning laser power vector size is not equal to number of "
                                   "frames (%d!=%d)."));
    }
    rotateFront(_laserPower, firstFrame, circularSize);
}

void ImageWriter::setFirstFrame(unsigned int firstFrame) {
    if (!_info.has(MZ_CT_FRAME)) return;
    std::vector<ChunkRecord>& frames = _info[MZ_CT_FRAME];
    if (firstFrame >= frames.size()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_SFF_BOUND",
                    QStringLiteral("Caution, index of selected first frame exceeds number of "
                                   "frames in rsq file."));
    }
    rotateFront(frames, firstFrame, frames.size());
    if (_laserPower.empty()) return;
    if (_laserPower.size() != frames.size()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_SFF_BOUND",
                    QStringLiteral("Warning laser power vector size is not equal to number of "
                                   "frames."));
    }
    rotateFront(_laserPower, firstFrame, frames.size());
}

}  // namespace mz
