// Changing finished movies: reopening one for frames and header, and replacing its attributes.

#include <libDataIO/base/byteorder.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/metadata/trailingchunks.h>
#include <libDataIO/movies/imagewriterlog.h>
#include <libDataIO/movies/movierecording.h>

#include <QObject>

namespace mz {

namespace {

void checkByteOrder(const AttributeChunk& attributes) {
    int endian = 0;
    if (!attributes.get(keys::endian, endian) || endian != nativeEndian) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY1",
                    QObject::tr("Cannot modify a file whose endianness is not specified or is "
                                "different from the one of the current machine."));
    }
}

[[noreturn]] void failAtUnexpectedPlace(MZImageChunkType type) {
    switch (type) {
        case MZ_CT_LASERPOWER:
            DATAIO_FAIL(IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY2",
                        QObject::tr("Cannot modify this movie with laser powers not at the "
                                    "expected location."));
        case MZ_CT_FRAMETIMER:
            DATAIO_FAIL(IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY3",
                        QObject::tr("Cannot modify this movie with frametimers not at the "
                                    "expected location."));
        case MZ_CT_FIBERCENTER:
            DATAIO_FAIL(IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY4",
                        QObject::tr("Cannot modify this movie with fibercenters not at the "
                                    "expected location."));
        case MZ_CT_INFO:
        case MZ_CT_FRAME:
        case MZ_CT_HEADER:
        case MZ_CT_PALETTE:
        case MZ_CT_THUMBNAIL:
        case MZ_CT_INDEX:
            break;
    }
    DATAIO_FAIL(IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY",
                QObject::tr("This is not a RQS file."));
}

/// Whatever fails on the way, the file is closed then, and removed if opening it has made it.
template <class Action>
void closingOnFailure(FileWriter& writer, const QString& fileName, Action action) {
    try {
        action();
    } catch (...) {
        writer.abandonFile(fileName);
        throw;
    }
}

}  // namespace

void MovieRecording::modify(const QString& fileName) {
    _contents.clear();
    _contents.hasAutotime = false;
    _fileEnd = 0;
    try {
        closingOnFailure(_writer, fileName, [&] {
            _openAtInfo(fileName);
            checkByteOrder(attributes());
            _takeOffTrailingChunks();
            _checkRoomForEnd();
            _writer.truncate();
            _fileEnd = _writer.tell();
        });
    } catch (...) {
        _contents.clear();  // of a movie that is refused, nothing stays
        throw;
    }
}

/// Opens a finished movie, loads its info chunk and leaves the cursor in front of it.
void MovieRecording::_openAtInfo(const QString& fileName) {
    _writer.openFile(fileName, FW_APPEND);
    if (!_writer.seekEnd()) failSeek();
    if (!_writer.prevChunk(MZ_CT_INFO)) failAtUnexpectedPlace(MZ_CT_INFO);
    _contents.info.load(_writer.data(), _writer.chunkSize());
}

/// Steps back over what close() has appended, each chunk ending where the one recognised before
/// begins, and takes it into memory.
void MovieRecording::_takeOffTrailingChunks() {
    ChunkInfo& info = _contents.info;
    info.removeAll(MZ_CT_INFO);
    for (auto chunk = trailingChunks.rbegin(); chunk != trailingChunks.rend(); ++chunk) {
        if (chunk->type == MZ_CT_INFO) continue;  // the cursor stands in front of it
        if (_writer.prevChunk(chunk->type)) {
            loadTrailingPayload(chunk->type, _writer.data(), _writer.chunkSize(), _contents);
        } else if (info.has(static_cast<int>(chunk->type))) {
            failAtUnexpectedPlace(chunk->type);
        } else if (chunk->type == MZ_CT_FRAMETIMER &&
                   _contents.frames.times().readFromChunkInfo(info)) {
            // An older movie, with its times in the attributes: they move to a chunk of their own.
            FrameTimer::removeFromAttChunk(info);
        }
        info.removeAll(static_cast<int>(chunk->type));
    }
    _contents.frames.setRecords(std::move(info[MZ_CT_FRAME]));
    info.removeAll(MZ_CT_FRAME);
}

void MovieRecording::modifyAttribute(const QString& fileName, const AttributeChunk& attributes) {
    const AttributeChunk given = attributes;  // it may be this writer's own
    _contents.hasAutotime = false;
    _contents.info.clear();
    _contents.frames.setRecords({});
    closingOnFailure(_writer, fileName, [&] {
        _openAtInfo(fileName);
        const qint64 start = _writer.tell();
        const QByteArray oldPayload(static_cast<const char*>(_writer.data()), _writer.chunkSize());
        _contents.info.AttributeChunk::clear();
        _contents.info.merge(given);
        _contents.info.removeAll(MZ_CT_INFO);
        try {
            _replaceInfo();
            _writer.closeFile();
        } catch (...) {
            _restoreInfo(fileName, start, oldPayload);
            throw;
        }
    });
}

/// Writes the info chunk at the cursor, which stands in front of the old one. The old one is
/// written over before the file is cut, so that its place on the disk is never given away: putting
/// it back cannot fail for want of room.
void MovieRecording::_replaceInfo() {
    int size = 0;
    const std::unique_ptr<char[]> payload(_contents.info.save(size));
    _addChunk(MZ_CT_INFO, payload.get(), static_cast<size_t>(size));
    _writer.truncate();
}

/// Makes the end of the file what it was before. Opens the file anew, since closing may be what
/// failed.
void MovieRecording::_restoreInfo(const QString& fileName, qint64 start,
                                  const QByteArray& payload) {
    try {
        _writer.openFile(fileName, FW_APPEND);
        if (!_writer.seek(start)) return;
        _writer.addChunk(MZ_CT_INFO, payload.constData(), static_cast<size_t>(payload.size()));
        _writer.truncate();
    } catch (const IOFileException&) {
        // Logged; the failure that led here is the one to report.
    }
}

}  // namespace mz
