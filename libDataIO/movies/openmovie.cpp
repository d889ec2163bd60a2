#include <libDataIO/base/byteorder.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/imagereaderlog.h>
#include <libDataIO/movies/openmovie.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/payloads/laserpower.h>

namespace mz {

void OpenMovie::open(QString const& fileName) {
    _fileName = fileName;
    _reader.openFile(fileName);
    _findInfo();
    _loadInfo(_reader.data(), _reader.chunkSize());
    const std::vector<ChunkRecord>* frames = _info.find(MZ_CT_FRAME);
    _frameCount = frames != nullptr ? static_cast<unsigned int>(frames->size()) : 0;
    _loadTimes();
    _loadPowers();
    QString compression;
    _info.get(keys::compression, compression);
    _compression = compressionOfName(compression);
}

void OpenMovie::close() {
    _reader.closeFile();
    _fileName = QString();
}

void OpenMovie::forget() {
    _info.clear();
    _times.clear();
    _powers.clear();
    _frameCount = 0;
}

void OpenMovie::reloadInfo() {
    // A copy: a payload that was handed out stays where it is, also when the file has grown.
    QByteArray payload;
    if (!_reader.readLast(MZ_CT_INFO, payload)) _failMissingInfo();
    _loadInfo(payload.constData(), static_cast<unsigned int>(payload.size()));
}

void OpenMovie::_loadInfo(void const* payload, unsigned int size) {
    _info.clear();
    _info.load(payload, size);
}

void OpenMovie::_findInfo() {
    _reader.seekEnd();
    if (!_reader.prevChunk(MZ_CT_INFO)) _failMissingInfo();
}

void OpenMovie::_failMissingInfo() const {
    DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_MISSINFO",
                QStringLiteral("File %1: missing info, bad file format.").arg(_fileName));
}

void OpenMovie::_loadTimes() {
    // Movies recorded before the frame timer had a chunk of its own keep their times in the
    // attributes.
    if (!_info.has(MZ_CT_FRAMETIMER)) {
        _times.readFromChunkInfo(_info);
    } else if (goTo(MZ_CT_FRAMETIMER, 0)) {
        _times.readFromRawBuffer(static_cast<const char*>(_reader.data()), _reader.chunkSize());
    }
}

void OpenMovie::_loadPowers() {
    if (!goTo(MZ_CT_LASERPOWER, 0) || _reader.chunkSize() != _frameCount) return;
    _powers = decodeLaserPowers(_reader.data(), _reader.chunkSize());
}

bool OpenMovie::hasOtherByteOrder() const {
    return isOtherByteOrder(intAttribute(_info, keys::endian, 0));
}

bool OpenMovie::goTo(MZImageChunkType type, unsigned int n) {
    const std::vector<ChunkRecord>* records = _info.find(static_cast<int>(type));
    if (records == nullptr) return false;
    if (records->size() < n) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_RC_BOUND",
                    QStringLiteral("Chunk number out of bounds."));
    }
    if (records->size() == n) return false;
    if (!_reader.seek((*records)[n].offset)) return false;
    if (_reader.nextChunk(type)) return true;
    _findInfo();  // the index is wrong, unless the file was cut since it was read
    return false;
}

}  // namespace mz
