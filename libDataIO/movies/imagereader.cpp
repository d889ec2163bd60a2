// Opening, closing and the header. Frames are in imagereaderframes.cpp, fibres, powers and times in
// imagereaderfibers.cpp.

#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/base/byteorder.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/movies/imagereaderlog.h>
#include <libDataIO/metadata/attributekeys.h>

#include <utility>

namespace mz {

Logger* const imageReaderLogger = Logger::logger(QStringLiteral("dataio.imagereader"));

boost::shared_ptr<IReconstructionService> ImageReader::_reconstructionServiceFactory;

ImageReader::ImageReader() : ImageReader(boost::shared_ptr<IReconstructionService>()) {}

ImageReader::ImageReader(boost::shared_ptr<IReconstructionService> service)
    : _reconstructionService(std::move(service)), _decoder(std::make_unique<FrameDecoder>()) {
    if (!_reconstructionService && _reconstructionServiceFactory) {
        _reconstructionService.reset(_reconstructionServiceFactory->clone());
    }
}

ImageReader::ImageReader(std::nullptr_t /*noService*/) : ImageReader() {}

ImageReader::ImageReader(QString const& fileName) : ImageReader() {
    open(fileName);
}

ImageReader::ImageReader(QString const& fileName, boost::shared_ptr<IReconstructionService> service)
    : ImageReader(std::move(service)) {
    open(fileName);
}

ImageReader::ImageReader(NoService /*noService*/, QString const& fileName)
    : _decoder(std::make_unique<FrameDecoder>()) {
    open(fileName);
}

ImageReader ImageReader::withoutService(QString const& fileName) {
    return ImageReader(NoService(), fileName);
}

ImageReader::~ImageReader() = default;

void ImageReader::setReconstructionServiceFactory(
    boost::shared_ptr<IReconstructionService> factory) {
    _reconstructionServiceFactory = std::move(factory);
}

void ImageReader::open(QString const& fileName) {
    _clean();
    _fileName = fileName;
    _reader.openFile(fileName);
    try {
        _load();
    } catch (...) {
        _forget();
        throw;
    }
}

void ImageReader::_load() {
    _loadInfo();
    _currFrame = 0;
    const std::vector<ChunkRecord>* frames = _info.find(MZ_CT_FRAME);
    _nbFrames = frames != nullptr ? static_cast<unsigned int>(frames->size()) : 0;

    _loadFrameTimer();
    if (_info.has(MZ_CT_LASERPOWER)) _loadLaserPowerChunk();

    QString compression;
    _info.get(QStringLiteral("compression_type"), compression);
    _compression = compressionOfName(compression);

    _loadDataType();
}

void ImageReader::reloadHeader() {
    _loadInfo();
}

void ImageReader::_loadInfo() {
    _findInfo();
    _info.clear();
    _info.load(_reader.data(), _reader.chunkSize());
}

void ImageReader::_findInfo() const {
    _reader.seekEnd();
    if (!_reader.prevChunk(MZ_CT_INFO)) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_MISSINFO",
                    QStringLiteral("File %1: missing info, bad file format.").arg(_fileName));
    }
}

void ImageReader::_loadDataType() {
    _vectorizedData = dataType() == QLatin1String("vec");
    if (!_vectorizedData) return;
    std::vector<float> fibers;
    getRasterFiberContinuousIndexes(fibers, NoFiberFiltering);
    _fiberCount = static_cast<unsigned int>(fibers.size() / 2);
    if (_reconstructionService) _prepareReconstruction(fibers);
}

void ImageReader::close() {
    _reader.closeFile();
    _fileName = QString();
}

void ImageReader::_clean() {
    close();
    _forget();
}

void ImageReader::_forget() {
    _info.clear();
    _ftimer.clear();
    _laserPower.clear();
    _decompData.clear();
    _tmpData.clear();
    _vectorizedData = false;
    _fiberCount = 0;
    _nbFrames = 0;
}

void ImageReader::dumpDebug() const {
    _info.dumpDebug();
}

bool ImageReader::_readChunk(MZImageChunkType type, unsigned int n) const {
    const std::vector<ChunkRecord>* records = _info.find(type);
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

// --- header ---

bool ImageReader::width(int& pixels) const {
    return _info.get(QStringLiteral("width"), pixels);
}

bool ImageReader::height(int& pixels) const {
    return _info.get(QStringLiteral("height"), pixels);
}

bool ImageReader::frameDelay(int& delay) const {
    return _info.get(QStringLiteral("framedelay"), delay);
}

bool ImageReader::dimension(int& dimension) const {
    return _info.get(QStringLiteral("datadimension"), dimension);
}

bool ImageReader::pixBits(int& bits) const {
    int type = MZ_UNKNOWN;
    if (_info.get(QStringLiteral("pixtype"), type)) {
        bits = GetPixBits(static_cast<MZImagePixelType>(type));
        return true;
    }
    return _info.get(QStringLiteral("pixbits"), bits);
}

int ImageReader::pixBytes() const {
    int bits = 0;
    return pixBits(bits) ? pixelBytes(bits) : 0;
}

bool ImageReader::pixType(MZImagePixelType& type) const {
    int value = MZ_UNKNOWN;
    if (_info.get(QStringLiteral("pixtype"), value)) {
        type = static_cast<MZImagePixelType>(value);
    } else if (pixBits(value)) {
        type = GuessPixelType(MZ_UNSIGNED_GROUP, value);
    } else {
        type = MZ_UNKNOWN;
    }
    return type != MZ_UNKNOWN;
}

int ImageReader::endian() const {
    // Asked for with every frame, since callers may change it: a key that is a text already saves a
    // third of that.
    int value = 0;
    return _info.get(QStringLiteral("endian"), value) ? value : 0;
}

int ImageReader::utcOffsetSeconds(bool& present, bool& trustable) const {
    int offset = 0;
    present = _info.get(QStringLiteral("utc_offset_seconds"), offset);
    trustable = present && _intOr("utc_offset_untrustable", 0) == 0;
    return present ? offset : 0;
}

QString ImageReader::dataType() const {
    QString type;
    if (_info.get(QStringLiteral("data_type"), type)) return type;
    int w = 0;
    int h = 0;
    const bool wide = width(w) && height(h) && w > 895;
    return wide ? QStringLiteral("raw") : QStringLiteral("imp");
}

int ImageReader::getMaskLevel() const {
    return _intOr("mask_level", -32768);
}

QString ImageReader::getComment() const {
    return multiLineText(_info, QStringLiteral("comment"));
}

QString ImageReader::getSpecificComment() const {
    return multiLineText(_info, QStringLiteral("specific_comment"));
}

bool ImageReader::palette(MzPalette& palette) const {
    const bool found = AttributePaletteAdaptor::attributesToPalette(_info, palette, QString());
    if (palette._nodes.empty()) palette.initDefault();
    return found;
}

bool ImageReader::attribute(QString const& key, int& value) const {
    return _info.get(key, value);
}

bool ImageReader::attribute(QString const& key, float& value) const {
    return _info.get(key, value);
}

bool ImageReader::attribute(QString const& key, QString& value) const {
    return _info.get(key, value);
}

void ImageReader::setAttribute(QString const& key, int value) {
    _info.set(QStringLiteral("plug_") + key, value);
}

void ImageReader::setAttribute(QString const& key, float value) {
    _info.set(QStringLiteral("plug_") + key, value);
}

void ImageReader::setAttribute(QString const& key, QString const& value) {
    _info.set(QStringLiteral("plug_") + key, value);
}

void ImageReader::removeAttribute(QString const& key) {
    _info.erase(key);
}

int ImageReader::_intOr(const char* key, int fallback) const {
    int value = 0;
    return _info.get(QString::fromLatin1(key), value) ? value : fallback;
}

float ImageReader::_floatOr(const char* key, float fallback) const {
    float value = 0;
    return _info.get(QString::fromLatin1(key), value) ? value : fallback;
}

bool ImageReader::_needSwapping() const {
    return isOtherByteOrder(endian());
}

}  // namespace mz
