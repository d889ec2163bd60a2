// Changing finished movies: reopening one for frames and header, and replacing its attributes.

#include <libDataIO/base/byteorder.h>
#include <libDataIO/payloads/fibergeometry.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/movies/imagewriterlog.h>
#include <libDataIO/payloads/laserpower.h>

#include <QByteArray>
#include <QFile>
#include <QObject>

namespace mz {

void ImageWriter::modify(QString const& fileName) {
    _autotime = false;
    _forget();
    _closingOnFailure(fileName, [&] {
        _openAtInfo(fileName);
        _checkByteOrder();
        _loadTrailingChunks();
        for (int type : {MZ_CT_INFO, MZ_CT_FIBERCENTER, MZ_CT_LASERPOWER, MZ_CT_FRAMETIMER}) {
            _info.removeAll(type);
        }
        _writer.truncate();
        _fileEnd = _writer.tell();
    });
}

void ImageWriter::modifyAttribute(QString const& fileName, AttributeChunk const& attributes) {
    const AttributeChunk given = attributes;  // it may be this writer's own
    _autotime = false;
    _info.clear();
    _closingOnFailure(fileName, [&] {
        _openAtInfo(fileName);
        const qint64 start = _writer.tell();
        const QByteArray oldPayload(static_cast<const char*>(_writer.data()), _writer.chunkSize());
        _info.AttributeChunk::clear();
        _info.merge(given);
        _info.removeAll(MZ_CT_INFO);
        try {
            _replaceInfo();
            _writer.closeFile();
        } catch (...) {
            _restoreInfo(fileName, start, oldPayload);
            throw;
        }
    });
}

/// Whatever fails on the way, the file is closed then, and removed if opening it has made it.
template <class Action>
void ImageWriter::_closingOnFailure(QString const& fileName, Action action) {
    try {
        action();
    } catch (...) {
        try {
            _writer.closeFile();
        } catch (IOFileException const&) {
            // Logged; the failure that led here is the one to report.
        }
        if (_writer.created()) QFile::remove(fileName);
        throw;
    }
}

/// Opens a finished movie, loads its info chunk and leaves the cursor in front of it.
void ImageWriter::_openAtInfo(QString const& fileName) {
    _writer.openFile(fileName, FW_APPEND);
    if (!_writer.seekEnd()) _failSeek();
    if (!_writer.prevChunk(MZ_CT_INFO)) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY",
                    QObject::tr("This is not a RQS file."));
    }
    _info.load(_writer.data(), _writer.chunkSize());
}

void ImageWriter::_checkByteOrder() const {
    int endian = 0;
    if (!_info.get(QStringLiteral("endian"), endian) || endian != nativeEndian) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY1",
                    QObject::tr("Cannot modify a file whose endianness is not specified or is "
                                "different from the one of the current machine."));
    }
}

/// Steps back over what close() has appended, each chunk ending where the one recognised before
/// begins.
void ImageWriter::_loadTrailingChunks() {
    if (_writer.prevChunk(MZ_CT_LASERPOWER)) {
        _laserPower = decodeLaserPowers(_writer.data(), _writer.chunkSize());
    } else if (_info.has(MZ_CT_LASERPOWER)) {
        DATAIO_FAIL(
            IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY2",
            QObject::tr(
                "Cannot modify this movie with laser powers not at the expected location."));
    }

    if (_writer.prevChunk(MZ_CT_FRAMETIMER)) {
        _ftimer.readFromRawBuffer(static_cast<const char*>(_writer.data()), _writer.chunkSize());
    } else if (_info.has(MZ_CT_FRAMETIMER)) {
        DATAIO_FAIL(
            IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY3",
            QObject::tr("Cannot modify this movie with frametimers not at the expected location."));
    } else if (_ftimer.readFromChunkInfo(_info)) {
        // An older movie, with its times in the attributes: they move to a chunk of their own.
        FrameTimer::removeFromAttChunk(_info);
    }

    if (_writer.prevChunk(MZ_CT_FIBERCENTER)) {
        _loadFiberCenters(_writer.data(), _writer.chunkSize());
    } else if (_info.has(MZ_CT_FIBERCENTER)) {
        DATAIO_FAIL(
            IOFileException, imageWriterLogger, FILESYSTEM, "FDCW_MODIFY4",
            QObject::tr(
                "Cannot modify this movie with fibercenters not at the expected location."));
    }
}

void ImageWriter::_loadFiberCenters(void const* data, unsigned int size) {
    ImageSize image{0, 0};
    if (!_info.get(QStringLiteral("width"), image.width) ||
        !_info.get(QStringLiteral("height"), image.height) || image.width < 1 || image.height < 1) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_ARFCI_INFO2",
                    QStringLiteral("cannot get fiber centers without width and height."));
    }
    _fibercenters = decodeFiberCenters(data, size, image);
}

/// Writes the info chunk at the cursor, which stands in front of the old one. The old one is
/// written over before the file is cut, so that its place on the disk is never given away: putting
/// it back cannot fail for want of room.
void ImageWriter::_replaceInfo() {
    int size = 0;
    const std::unique_ptr<char[]> payload(_info.save(size));
    _addOrReplaceChunk(MZ_CT_INFO, payload.get(), static_cast<unsigned int>(size));
    _writer.truncate();
}

/// Makes the end of the file what it was before. Opens the file anew, since closing may be what
/// failed.
void ImageWriter::_restoreInfo(QString const& fileName, qint64 start, QByteArray const& payload) {
    try {
        _writer.openFile(fileName, FW_APPEND);
        if (!_writer.seek(start)) return;
        _writer.addChunk(MZ_CT_INFO, payload.constData(), static_cast<size_t>(payload.size()));
        _writer.truncate();
    } catch (IOFileException const&) {
        // Logged; the failure that led here is the one to report.
    }
}

}  // namespace mz
