// Creating a movie, its header, and closing it. Frames are in imagewriterframes.cpp, the changing
// of finished movies in imagewritermodify.cpp.

#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/base/byteorder.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/payloads/fibergeometry.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/movies/imagewriterlog.h>
#include <libDataIO/payloads/laserpower.h>
#include <libDataIO/base/localtime.h>
#include <libDataIO/base/makeroom.h>

#include <cstdio>

namespace mz {

Logger* const imageWriterLogger = Logger::logger(QStringLiteral("dataio.imagewriter"));

ImageWriter::ImageWriter() : _encoder(std::make_unique<FrameEncoder>()) {
    _info.set(QStringLiteral("endian"), nativeEndian);
    setCompression(CompressionType::None);
}

ImageWriter::~ImageWriter() {
    try {
        close();
    } catch (...) {
        // Nobody is left to tell; the failing operation has logged it.
    }
}

void ImageWriter::create(QString const& fileName, bool autotime) {
    _autotime = autotime;
    _forget();
    _info.set(QStringLiteral("endian"), nativeEndian);
    _frameSize = 0;
    setCompression(CompressionType::None);
    setCompressionEffort(CompressionEffort::Standard);
    _writer.openFile(fileName, FW_CREATE);
}

void ImageWriter::_forget() {
    _info.clear();
    _ftimer.clear();
    _laserPower.clear();
    _fibercenters.clear();
    _fileEnd = 0;
}

bool ImageWriter::isOpen() const {
    return _writer.openned();
}

void ImageWriter::close() {
    if (!_writer.openned()) return;
    reconcileDataType(_info, _frameSize);
    _appendTrailingChunks();
    _writer.closeFile();
}

void ImageWriter::_appendTrailingChunks() {
    _seekEnd();
    const qint64 endOfFrames = _writer.tell();
    try {
        _saveFiberCenters();
        if (_autotime || !_ftimer.empty()) _saveFrameTimer();
        _saveLaserPower();
        _saveInfo();
    } catch (...) {
        _dropTrailingChunks(endOfFrames);
        throw;
    }
}

/// Takes back what a failed close() has appended, so that the next one writes each chunk once.
void ImageWriter::_dropTrailingChunks(qint64 endOfFrames) {
    for (int type : {MZ_CT_FIBERCENTER, MZ_CT_FRAMETIMER, MZ_CT_LASERPOWER, MZ_CT_INFO}) {
        _info.removeAll(type);
    }
    _fileEnd = endOfFrames;
    try {
        if (_writer.seekEnd() && _writer.tell() > endOfFrames && _writer.seek(endOfFrames)) {
            _writer.truncate();
        }
    } catch (IOFileException const&) {
        // Logged; the failure that led here is the one to report.
    }
}

void ImageWriter::_saveFiberCenters() {
    if (_fibercenters.empty()) return;
    ImageSize size{0, 0};
    if (!_info.get(QStringLiteral("width"), size.width) ||
        !_info.get(QStringLiteral("height"), size.height) || size.width < 1 || size.height < 1) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_ARFCI_INFO",
                    QStringLiteral(
                        "Width and height of the picture must be defined before saving fibers."));
    }
    const std::vector<uint32_t> words = encodeFiberCenters(_fibercenters, size);
    _addChunkAtEnd(MZ_CT_FIBERCENTER, words.data(), words.size() * sizeof(uint32_t));
}

void ImageWriter::_saveFrameTimer() {
    std::vector<char> records(_ftimer.size() * FrameTimer::rawRecordSize);
    _ftimer.dumpToRawBuffer(records.data(), static_cast<unsigned int>(records.size()));
    _addChunkAtEnd(MZ_CT_FRAMETIMER, records.data(), records.size());
    _info.set(QStringLiteral("utc_offset_seconds"), localOffsetFromUtc());
}

void ImageWriter::_saveLaserPower() {
    if (_laserPower.empty()) return;
    const std::vector<unsigned char> bytes = encodeLaserPowers(_laserPower);
    _addChunkAtEnd(MZ_CT_LASERPOWER, bytes.data(), bytes.size());
}

void ImageWriter::_saveInfo() {
    int size = 0;
    const std::unique_ptr<char[]> payload(_info.save(size));
    _addChunkAtEnd(MZ_CT_INFO, payload.get(), static_cast<unsigned int>(size));
}

void ImageWriter::_addOrReplaceChunk(MZImageChunkType type, void const* data, size_t size) {
    // Room in the index first: once the chunk is in the file, nothing may fail any more.
    const bool isFirstOfItsType = !_info.has(type);
    std::vector<ChunkRecord>& records = _info[type];
    try {
        makeRoomForOne(records);
        const int offset = _writer.addChunk(type, data, size);
        records.push_back({static_cast<unsigned int>(offset), static_cast<unsigned int>(size)});
    } catch (...) {
        if (isFirstOfItsType) _info.removeAll(type);
        throw;
    }
    _fileEnd = std::max(_fileEnd, _writer.tell());
}

void ImageWriter::_addChunkAtEnd(MZImageChunkType type, void const* data, size_t size) {
    _seekEnd();
    _addOrReplaceChunk(type, data, size);
}

/// To the end of what belongs to the movie, which is that of the file unless a failed close() could
/// not cut what it had appended.
void ImageWriter::_seekEnd() {
    // Without an open file, writing is what fails.
    if (!_writer.openned()) return;
    if (!_writer.seekEnd()) _failSeek();
    if (_writer.tell() <= _fileEnd) return;
    if (!_writer.seek(_fileEnd)) _failSeek();
    _writer.truncate();
}

void ImageWriter::_failSeek() {
    DATAIO_FAIL(IOFileException, imageWriterLogger, SYSCALL, "FDCW_AC_SEEK",
                QStringLiteral("Cannot seek in file before writing data."));
}

void ImageWriter::dumpDebug() const {
    std::printf("-------------------------- Dump debug ImageWriter %p\n",
                static_cast<const void*>(this));
    std::puts("Info Header:");
    _info.dumpDebug();
    _writer.dumpDebug();
}

// --- header ---

void ImageWriter::width(int pixels) {
    _info.set(QStringLiteral("width"), pixels);
}

void ImageWriter::height(int pixels) {
    _info.set(QStringLiteral("height"), pixels);
}

void ImageWriter::frameDelay(int delay) {
    _info.set(QStringLiteral("framedelay"), delay);
}

void ImageWriter::dimension(int dimension) {
    _info.set(QStringLiteral("datadimension"), dimension);
}

void ImageWriter::indexed(bool indexed) {
    _info.set(QStringLiteral("indexed"), indexed ? 1 : 0);
}

void ImageWriter::pixType(MZImagePixelType type) {
    _info.set(QStringLiteral("pixtype"), static_cast<int>(type));
    const int bits = GetPixBits(type);
    if (bits == 0) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_PT_INFO",
                    QStringLiteral("Image pixel type is unknown: cannot guess pixbits"));
    }
    _info.set(QStringLiteral("pixbits"), bits);
}

void ImageWriter::setComment(QString const& comment) {
    _info.set(QStringLiteral("comment"), AttributeChunk::formatComment(comment));
}

void ImageWriter::setSpecificComment(QString const& comment) {
    _info.set(QStringLiteral("specific_comment"), AttributeChunk::formatComment(comment));
}

void ImageWriter::setCompression(CompressionType::e compression) {
    const QString name = compressionName(compression);
    _info.set(QStringLiteral("compression_type"), name);
    _compression = compressionOfName(name);
}

void ImageWriter::setCompressionEffort(CompressionEffort::e effort) {
    _effort = effort;
}

void ImageWriter::setPalette(MzPalette const& palette) {
    AttributeChunk attributes;
    AttributePaletteAdaptor::paletteToAttributes(palette, attributes, QString());
    _info.merge(attributes);
}

void ImageWriter::attribute(QString const& key, int value) {
    _info.set(key, value);
}

void ImageWriter::attribute(QString const& key, float value) {
    _info.set(key, value);
}

void ImageWriter::attribute(QString const& key, QString const& value) {
    _info.set(key, value);
}

void ImageWriter::setPlugAttribute(QString const& key, int value) {
    _info.set(QStringLiteral("plug_") + key, value);
}

void ImageWriter::setPlugAttribute(QString const& key, float value) {
    _info.set(QStringLiteral("plug_") + key, value);
}

void ImageWriter::setPlugAttribute(QString const& key, QString const& value) {
    _info.set(QStringLiteral("plug_") + key, value);
}

void ImageWriter::removeAttribute(QString const& key) {
    _info.erase(key);
}

int ImageWriter::pixBytes() const {
    int bits = 0;
    return _info.get(QStringLiteral("pixbits"), bits) ? pixelBytes(bits) : 0;
}

QString ImageWriter::getComment() const {
    return multiLineText(_info, QStringLiteral("comment"));
}

void ImageWriter::addRasterFiberContinuousIndexes(std::vector<float> const& positions) {
    _fibercenters = positions;
}

void ImageWriter::addBundleBoundingBoxCoords(float minX, float minY, float maxX, float maxY) {
    _info.set(QStringLiteral("bbox_min_x"), minX);
    _info.set(QStringLiteral("bbox_min_y"), minY);
    _info.set(QStringLiteral("bbox_max_x"), maxX);
    _info.set(QStringLiteral("bbox_max_y"), maxY);
}

}  // namespace mz
