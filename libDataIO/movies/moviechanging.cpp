// Changing finished movies: reopening one for frames and header, and replacing its attributes.

#include <libDataIO/base/byteorder.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/metadata/trailingchunks.h>
#include <libDataIO/movies/imagewriterlog.h>
#include <libDataIO/movies/movierecording.h>

#include <QObject>

#include <algorithm>

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
        int size = 0;
        const std::unique_ptr<char[]> saved(_contents.info.save(size));
        const QByteArray payload(saved.get(), size);
        _replaceInfo(start, oldPayload, payload);
        try {
            _writer.closeFile();
        } catch (...) {
            _replaceInfoAgain(fileName, start, payload, oldPayload);
            throw;
        }
    });
}

/// Replaces the info chunk that begins at `start` and ends the file. The new one is written whole
/// behind the old one first, so far behind that it does not overlap its final place: at any moment
/// the file ends with one of the two whole, or with less than the new one behind a mark, which
/// salvaging cuts. The file is only cut when all is written, so that the place of the old one on
/// the disk is never given away: putting it back cannot fail for want of room. After a failure the
/// end is what it was, as far as the system lets it.
void MovieRecording::_replaceInfo(qint64 start, const QByteArray& old, const QByteArray& payload) {
    const qint64 oldEnd = start + chunkFramingSize + old.size();
    const qint64 end = start + chunkFramingSize + payload.size();
    const auto write = [&](qint64 offset, const auto& action) {
        if (!_writer.seek(offset)) failSeek();
        action();
    };
    qint64 damagedFrom = oldEnd;
    const auto writeInfo = [&](const QByteArray& info) {
        _writer.addChunk(MZ_CT_INFO, info.constData(), static_cast<size_t>(info.size()));
    };
    try {
        write(oldEnd, [&] { _writer.markUnfinishedEnd(); });
        write(std::max(end, oldEnd + chunkHeaderSize), [&] {
            _writer.addUnlistedChunk(MZ_CT_INFO, payload.constData(),
                                     static_cast<size_t>(payload.size()));
        });
        damagedFrom = start;
        write(start, [&] { writeInfo(payload); });
        _writer.truncate();
    } catch (...) {
        try {
            write(damagedFrom, [&] {
                if (damagedFrom == start) writeInfo(old);
                _writer.truncate();
            });
        } catch (const IOFileException&) {
            // Logged; the failure that led here is the one to report.
        }
        throw;
    }
}

/// Makes the end of the file what it was before. Opens the file anew, since it could not be closed.
void MovieRecording::_replaceInfoAgain(const QString& fileName, qint64 start, const QByteArray& old,
                                       const QByteArray& payload) {
    try {
        _writer.openFile(fileName, FW_APPEND);
        _replaceInfo(start, old, payload);
    } catch (const IOFileException&) {
        // Logged; the failure that led here is the one to report.
    }
}

}  // namespace mz
