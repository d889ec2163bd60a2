// The front of a recording: checks what callers give, and keeps the header.

#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/base/byteorder.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/base/nocancellation.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/imagewriterlog.h>
#include <libDataIO/movies/movierecording.h>
#include <libDataIO/payloads/laserpower.h>

#include <QObject>

#include <cstdio>
#include <limits>
#include <optional>

namespace mz {

Logger* const imageWriterLogger = Logger::logger(QStringLiteral("dataio.imagewriter"));

namespace {

QString headerIncomplete() {
    return QStringLiteral(
        "Width, height and pixbitsof the picture must be defined before adding frames.");
}

QString timeIsAutomatic() {
    return QStringLiteral("AddFrame with a frametiming cannot be used with autotime=true");
}

unsigned int checkedSize(std::optional<int64_t> size) {
    if (!size || *size < 0 || *size > std::numeric_limits<int>::max()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_SIZE",
                    QStringLiteral("Frame size is invalid."));
    }
    return static_cast<unsigned int>(*size);
}

}  // namespace

ImageWriter::ImageWriter() : _recording(std::make_unique<MovieRecording>()) {
    attributeChunk().set(keys::endian, nativeEndian);
    setCompression(CompressionType::None);
}

ImageWriter::~ImageWriter() {
    const NoCancellation wholeClosing;
    try {
        close();
    } catch (...) {
        // Nobody is left to tell; the failing operation has logged it.
    }
}

void ImageWriter::create(const QString& fileName, bool autotime) {
    _recording->create(fileName, autotime);
}

void ImageWriter::modify(const QString& fileName) {
    _recording->modify(fileName);
}

void ImageWriter::modifyAttribute(const QString& fileName, const AttributeChunk& attributes) {
    _recording->modifyAttribute(fileName, attributes);
}

void ImageWriter::close() {
    _recording->close();
}

bool ImageWriter::isOpen() const {
    return _recording->isOpen();
}

void ImageWriter::dumpDebug() const {
    std::printf("-------------------------- Dump debug ImageWriter %p\n",
                static_cast<const void*>(this));
    std::puts("Info Header:");
    _recording->dumpDebug();
}

// --- frames ---

void ImageWriter::addFrame(const void* data, float laserPower) {
    const std::optional<PixelLayout> layout = pixelLayout(attributeChunk());
    if (!layout) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_INFO1",
                    headerIncomplete());
    }
    _recording->addFrame(data, checkedSize(layout->frameBytes()), std::nullopt, laserPower);
}

void ImageWriter::addFrame(const void* data, double laserPower) {
    addFrame(data, static_cast<float>(laserPower));
}

void ImageWriter::addFrame(const void* data, int size, float laserPower) {
    _recording->addFrame(data, checkedSize(int64_t{size}), std::nullopt, laserPower);
}

void ImageWriter::addFrame(const void* data, timeval time, float laserPower) {
    const std::optional<PixelLayout> layout = pixelLayout(attributeChunk());
    if (!layout) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_INFO2",
                    headerIncomplete());
    }
    if (_recording->hasAutotime()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_AUTOTIME1",
                    timeIsAutomatic());
    }
    _recording->addFrame(data, checkedSize(layout->frameBytes()), time, laserPower);
}

void ImageWriter::addFrame(const void* data, int size, timeval time, float laserPower) {
    if (_recording->hasAutotime()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_AUTOTIME2",
                    timeIsAutomatic());
    }
    _recording->addFrame(data, checkedSize(int64_t{size}), time, laserPower);
}

void ImageWriter::addFrame(const void* data, boost::optional<unsigned int> size,
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

void ImageWriter::addFrameAtEnd(const void* data, int size, float laserPower) {
    _recording->addFrameAtEnd(data, checkedSize(int64_t{size}), std::nullopt, laserPower);
}

void ImageWriter::addFrameAtEnd(const void* data, int size, timeval time, float laserPower) {
    if (_recording->hasAutotime()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_AF_AUTOTIME3",
                    timeIsAutomatic());
    }
    _recording->addFrameAtEnd(data, checkedSize(int64_t{size}), time, laserPower);
}

void ImageWriter::replaceFrame(const void* data, unsigned int index, float laserPower) {
    _recording->replaceFrame(data, index, std::nullopt, laserPower);
}

void ImageWriter::replaceFrame(const void* data, unsigned int index, timeval time,
                               float laserPower) {
    _recording->replaceFrame(data, index, time, laserPower);
}

// --- ring recordings ---

void ImageWriter::organizeIndex(unsigned int firstFrame, unsigned int circularSize) {
    FrameLists& frames = _recording->frames();
    if (firstFrame == 0 || frames.empty()) return;
    if (circularSize >= frames.size() || firstFrame >= circularSize) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_IO_INDEX",
                    QStringLiteral("ImageWriter::organizeIndex: bad arguments.\n"
                                   "firstFrame %1 \n circularSize %2 \n index size %3")
                        .arg(firstFrame)
                        .arg(circularSize)
                        .arg(frames.size()));
    }
    if (!frames.rotate(firstFrame, circularSize)) {
        // The two "%d" are part of the text that callers know.
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_IO_INDEX",
                    QStringLiteral("Warning laser power vector size is not equal to number of "
                                   "frames (%d!=%d)."));
    }
}

void ImageWriter::setFirstFrame(unsigned int firstFrame) {
    FrameLists& frames = _recording->frames();
    if (frames.empty()) return;
    if (firstFrame >= frames.size()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_SFF_BOUND",
                    QStringLiteral("Caution, index of selected first frame exceeds number of "
                                   "frames in rsq file."));
    }
    if (!frames.rotate(firstFrame, frames.size())) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_SFF_BOUND",
                    QStringLiteral("Warning laser power vector size is not equal to number of "
                                   "frames."));
    }
}

// --- header ---

AttributeChunk& ImageWriter::attributeChunk() {
    return _recording->attributes();
}

void ImageWriter::width(int pixels) {
    attributeChunk().set(keys::width, pixels);
}

void ImageWriter::height(int pixels) {
    attributeChunk().set(keys::height, pixels);
}

void ImageWriter::frameDelay(int delay) {
    attributeChunk().set(keys::frameDelay, delay);
}

void ImageWriter::dimension(int dimension) {
    attributeChunk().set(keys::dimension, dimension);
}

void ImageWriter::indexed(bool indexed) {
    attributeChunk().set(keys::indexed, indexed ? 1 : 0);
}

void ImageWriter::pixType(MZImagePixelType type) {
    attributeChunk().set(keys::pixelType, static_cast<int>(type));
    const int bits = GetPixBits(type);
    if (bits == 0) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_PT_INFO",
                    QStringLiteral("Image pixel type is unknown: cannot guess pixbits"));
    }
    attributeChunk().set(keys::pixelBits, bits);
}

void ImageWriter::setComment(const QString& comment) {
    attributeChunk().set(keys::comment, AttributeChunk::formatComment(comment));
}

void ImageWriter::setSpecificComment(const QString& comment) {
    attributeChunk().set(keys::specificComment, AttributeChunk::formatComment(comment));
}

void ImageWriter::setCompression(CompressionType::e compression) {
    _recording->setCompression(compression);
}

void ImageWriter::setCompressionEffort(CompressionEffort::e effort) {
    _recording->setCompressionEffort(effort);
}

void ImageWriter::setPalette(const MzPalette& palette) {
    AttributeChunk attributes;
    AttributePaletteAdaptor::paletteToAttributes(palette, attributes, QString());
    attributeChunk().merge(attributes);
}

void ImageWriter::attribute(const QString& key, int value) {
    attributeChunk().set(key, value);
}

void ImageWriter::attribute(const QString& key, float value) {
    attributeChunk().set(key, value);
}

void ImageWriter::attribute(const QString& key, double value) {
    attribute(key, static_cast<float>(value));
}

void ImageWriter::attribute(const QString& key, const QString& value) {
    attributeChunk().set(key, value);
}

void ImageWriter::setPlugAttribute(const QString& key, int value) {
    attribute(keys::plugPrefix + key, value);
}

void ImageWriter::setPlugAttribute(const QString& key, float value) {
    attribute(keys::plugPrefix + key, value);
}

void ImageWriter::setPlugAttribute(const QString& key, double value) {
    attribute(keys::plugPrefix + key, value);
}

void ImageWriter::setPlugAttribute(const QString& key, const QString& value) {
    attribute(keys::plugPrefix + key, value);
}

void ImageWriter::removeAttribute(const QString& key) {
    attributeChunk().erase(key);
}

int ImageWriter::pixBytes() const {
    int bits = 0;
    return _recording->attributes().get(keys::pixelBits, bits) ? pixelBytes(bits) : 0;
}

QString ImageWriter::getComment() const {
    return multiLineText(_recording->attributes(), keys::comment);
}

// --- fibres ---

void ImageWriter::addRasterFiberContinuousIndexes(const std::vector<float>& positions) {
    _recording->setFibers(positions);
}

void ImageWriter::addBundleBoundingBoxCoords(float minX, float minY, float maxX, float maxY) {
    attribute(keys::bundleMinX, minX);
    attribute(keys::bundleMinY, minY);
    attribute(keys::bundleMaxX, maxX);
    attribute(keys::bundleMaxY, maxY);
}

}  // namespace mz
