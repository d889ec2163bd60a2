// Recording a movie and finishing it. The changing of finished ones is in moviechanging.cpp.

#include <libDataIO/base/byteorder.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/base/localtime.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/metadata/trailingchunks.h>
#include <libDataIO/movies/imagewriterlog.h>
#include <libDataIO/movies/movierecording.h>

#include <QObject>

#include <algorithm>

namespace mz {

namespace {

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

/// What at most stands behind the frames, and so many more, but for the attributes. The info chunk
/// does not list itself.
int64_t tailSize(const MovieContents& contents, int64_t moreFrames) {
    constexpr auto chunks = static_cast<int64_t>(trailingChunks.size());
    const int64_t frames = static_cast<int64_t>(contents.frames.size()) + moreFrames;
    int64_t size = chunks * chunkFramingSize + ChunkIndex::storedSize(frames + chunks - 1);
    size += static_cast<int64_t>(contents.fibers.size() * sizeof(uint32_t));
    for (const TrailingChunk& chunk : trailingChunks)
        size += frames * static_cast<int64_t>(chunk.bytesPerFrame);
    return size;
}

[[noreturn]] void failFull(const LocationInfo& location) {
    DATAIO_FAIL_AT(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_FULL",
                   QStringLiteral("File would exceed the size that its index can address."),
                   location);
}

/// Takes up that a trailing chunk stands at a place of the file.
void noteTrailingChunk(MovieContents& contents, MZImageChunkType type, ChunkRecord record) {
    contents.info[static_cast<int>(type)] = {record};
    if (type == MZ_CT_FRAMETIMER) contents.info.set(keys::utcOffset, localOffsetFromUtc());
}

}  // namespace

void failSeek() {
    failSeekBeforeWrite(imageWriterLogger, DATAIO_HERE);
}

void MovieRecording::create(const QString& fileName, bool autotime) {
    _contents.clear();
    _contents.hasAutotime = autotime;
    _contents.info.set(keys::endian, nativeEndian);
    _fileEnd = 0;
    _frameSize = 0;
    setCompression(CompressionType::None);
    setCompressionEffort(CompressionEffort::Standard);
    _writer.openFile(fileName, FW_CREATE);
}

void MovieRecording::setCompression(CompressionType::e compression) {
    const QString name = compressionName(compression);
    _contents.info.set(keys::compression, name);
    _compression = compressionOfName(name);
}

// --- chunks ---

/// To the end of what belongs to the movie, which is that of the file unless a failed close() could
/// not cut what it had appended.
void MovieRecording::_seekEnd() {
    // Without an open file, writing is what fails.
    if (!_writer.openned()) return;
    if (!_writer.seekEnd()) failSeek();
    if (_writer.tell() <= _fileEnd) return;
    if (!_writer.seek(_fileEnd)) failSeek();
    _writer.truncate();
}

int MovieRecording::_addChunk(MZImageChunkType type, const void* data, size_t size) {
    const int offset = _writer.addChunk(type, data, size);
    _fileEnd = std::max(_fileEnd, _writer.tell());
    return offset;
}

// --- frames ---

void MovieRecording::addFrame(const void* data, unsigned int size, std::optional<timeval> time,
                              float power) {
    _contents.frames.makeRoomForOne();
    size_t payloadSize = size;
    if (_compression != CompressionType::None) {
        _checkCompressible(size);
        payloadSize = _encoder.encode(_compression, _effort, data, size);
        data = _encoder.stream();
    }
    if (!_fits(static_cast<int64_t>(payloadSize))) failFull(DATAIO_HERE);
    const int offset = _addChunk(MZ_CT_FRAME, data, payloadSize);
    if (hasAutotime()) time = now();
    _contents.frames.add(
        {static_cast<unsigned int>(offset), static_cast<unsigned int>(payloadSize)}, time, power);
    _frameSize = size;
}

void MovieRecording::addFrameAtEnd(const void* data, unsigned int size, std::optional<timeval> time,
                                   float power) {
    const qint64 cursor = _writer.tell();
    try {
        _seekEnd();
        addFrame(data, size, time, power);
    } catch (...) {
        _writer.seek(cursor);
        throw;
    }
}

void MovieRecording::_checkCompressible(unsigned int size) const {
    const std::optional<int64_t> most = compressibleBytes(attributes());
    if (most && int64_t{size} > *most) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_COMPRESS",
                    widePixelsMessage());
    }
}

/// Whether, with one more frame of that payload, close() can still append all that the file needs.
bool MovieRecording::_fits(int64_t payloadSize) const {
    const int64_t endOfFrames =
        std::max<int64_t>(_fileEnd, _writer.tell() + payloadSize + chunkFramingSize);
    const int64_t needed = tailSize(_contents, 1) + reservedForLater;
    if (endOfFrames + needed + farFromFull <= maxFileSize) return true;

    return endOfFrames + needed + attributes().dumpedSize() <= maxFileSize;
}

/// Whoever has recorded a movie may have left less room behind the frames than this library does.
/// What cannot be finished again must not be begun.
void MovieRecording::_checkRoomForEnd() const {
    const int64_t endOfFrames = _writer.tell();
    const int64_t needed = tailSize(_contents, 0) + attributes().dumpedSize();
    if (endOfFrames + needed + farFromFull <= maxFileSize) return;

    // Near the limit what close() would append is made for its size.
    MovieContents finished = _contents;
    reconcileDataType(finished.info, _frameSize);
    int64_t end = endOfFrames;
    for (const TrailingChunk& chunk : trailingChunks) {
        const std::optional<QByteArray> payload = trailingPayload(chunk.type, finished);
        if (!payload) continue;
        noteTrailingChunk(finished, chunk.type, {0, 0});
        end += chunkFramingSize + payload->size();
    }
    if (end > maxFileSize) failFull(DATAIO_HERE);
}

void MovieRecording::replaceFrame(const void* data, unsigned int index, std::optional<timeval> time,
                                  float power) {
    if (_compression != CompressionType::None) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_COMPRESS",
                    QObject::tr("Cannot replace frame when using compression."));
    }
    if (time && hasAutotime()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_AUTOTIME",
                    QObject::tr("AddFrame with a frametiming cannot be used with autotime=true"));
    }
    FrameLists& frames = _contents.frames;
    // Both forms of the call have codes of their own.
    if (frames.empty()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE,
                    time ? "IW_RF_FIND2" : "IW_RF_FIND",
                    QObject::tr("Cannot replace frame, indice out of bounds."));
    }
    if (index >= frames.size()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE,
                    time ? "IW_RF_BOUND2" : "IW_RF_BOUND",
                    QObject::tr("Cannot replace Frame, indice out of bounds."));
    }
    if (time && !frames.hasTime(index)) {
        // Times before a missing one would have to be invented. With autotime every frame has one.
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_TIMER",
                    QObject::tr("Cannot replace the time of a frame that has none."));
    }
    frames.makeRoomForPowers();
    const ChunkRecord record = frames.records()[index];
    // A damaged index could lead into the middle of other frames, or take more bytes of the caller
    // than the frame has.
    if (!_writer.replaceChunk(record.offset, MZ_CT_FRAME, data, record.length)) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_RF_CHUNK",
                    QObject::tr("Frame is not where the index says, file may be corrupted."));
    }
    if (hasAutotime()) time = now();
    frames.replace(index, time, power);
}

// --- finishing ---

void MovieRecording::close() {
    if (!isOpen()) return;
    if (_writer.inherited()) return _writer.closeFile();  // whoever recorded it will finish it
    reconcileDataType(attributes(), _frameSize);
    _seekEnd();
    const qint64 endOfFrames = _writer.tell();
    try {
        for (const TrailingChunk& chunk : trailingChunks)
            _appendTrailingChunk(chunk.type);
    } catch (...) {
        _dropTrailingChunks(endOfFrames);
        throw;
    }
    _writer.closeFile();
}

void MovieRecording::_appendTrailingChunk(MZImageChunkType type) {
    const std::optional<QByteArray> payload = trailingPayload(type, _contents);
    if (!payload) return;
    _seekEnd();
    const int offset =
        _addChunk(type, payload->constData(), static_cast<std::size_t>(payload->size()));
    noteTrailingChunk(
        _contents, type,
        {static_cast<unsigned int>(offset), static_cast<unsigned int>(payload->size())});
}

/// Takes back what a failed close() has appended, so that the next one writes each chunk once.
void MovieRecording::_dropTrailingChunks(qint64 endOfFrames) {
    for (const TrailingChunk& chunk : trailingChunks)
        _contents.info.removeAll(static_cast<int>(chunk.type));
    _fileEnd = endOfFrames;
    try {
        if (_writer.seekEnd() && _writer.tell() > endOfFrames && _writer.seek(endOfFrames)) {
            _writer.truncate();
        }
    } catch (const IOFileException&) {
        // Logged; the failure that led here is the one to report.
    }
}

void MovieRecording::dumpDebug() const {
    ChunkInfo info = _contents.info;
    if (!_contents.frames.empty()) info[MZ_CT_FRAME] = _contents.frames.records();
    info.dumpDebug();
    _writer.dumpDebug();
}

}  // namespace mz
