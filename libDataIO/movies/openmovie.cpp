#include <libDataIO/base/byteorder.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/imagereaderlog.h>
#include <libDataIO/movies/openmovie.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/payloads/laserpower.h>

namespace mz {

void OpenMovie::open(const QString& fileName) {
    _fileName = fileName;
    _reader.openFile(fileName);
    reloadInfo();
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
    QByteArray payload;
    if (!_reader.readLast(MZ_CT_INFO, payload)) _failMissingInfo();
    _info.clear();
    _info.load(payload.constData(), static_cast<unsigned int>(payload.size()));
}

void OpenMovie::_failMissingInfo() const {
    DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_MISSINFO",
                QStringLiteral("File %1: missing info, bad file format.").arg(_fileName));
}

void OpenMovie::_loadTimes() {
    // Movies recorded before the frame timer had a chunk of its own keep their times in the
    // attributes.
    QByteArray payload;
    if (!_info.has(MZ_CT_FRAMETIMER)) {
        _times.readFromChunkInfo(_info);
    } else if (read(MZ_CT_FRAMETIMER, 0, payload)) {
        _times.readFromRawBuffer(payload.constData(), static_cast<unsigned int>(payload.size()));
    }
}

void OpenMovie::_loadPowers() {
    if (!read(MZ_CT_LASERPOWER, 0, _powers) || _powers.size() != qint64{_frameCount})
        _powers.clear();
}

std::optional<float> OpenMovie::power(unsigned int frame) const {
    if (frame >= static_cast<std::size_t>(_powers.size())) return std::nullopt;
    const float power = decodeLaserPower(static_cast<unsigned char>(_powers[frame]));
    return power < 0 ? std::nullopt : std::make_optional(power);
}

bool OpenMovie::hasOtherByteOrder() const {
    return isOtherByteOrder(intAttribute(_info, keys::endian, 0));
}

/// Where the n-th chunk of a type begins, as the index says; empty when there is none.
std::optional<qint64> OpenMovie::_placeOf(MZImageChunkType type, unsigned int n) const {
    const std::vector<ChunkRecord>* records = _info.find(static_cast<int>(type));
    if (records == nullptr || !_reader.openned()) return std::nullopt;
    if (records->size() < n) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_RC_BOUND",
                    QStringLiteral("Chunk number out of bounds."));
    }
    if (records->size() == n) return std::nullopt;
    return (*records)[n].offset;
}

/// Where no chunk of the type stands, the index is wrong, unless the file was cut since it was
/// read.
void OpenMovie::_checkEnd() const {
    if (!_reader.endsWith(MZ_CT_INFO)) _failMissingInfo();
}

bool OpenMovie::read(MZImageChunkType type, unsigned int n, QByteArray& payload) {
    const std::optional<qint64> place = _placeOf(type, n);
    if (!place) return false;
    if (_reader.readAt(*place, type, payload)) return true;
    _checkEnd();
    return false;
}

std::optional<FrameView> OpenMovie::mappedFrame(unsigned int n) {
    const std::optional<qint64> place = _placeOf(MZ_CT_FRAME, n);
    if (!place || !_reader.seek(*place)) return std::nullopt;
    if (_reader.nextChunk(MZ_CT_FRAME)) return FrameView{_reader.data(), _reader.chunkSize()};
    _checkEnd();
    return std::nullopt;
}

}  // namespace mz
