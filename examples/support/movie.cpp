#include <optional>

#include <examples/support/movie.h>

namespace examples {
namespace {

// Compressed and vectorized frames are handed out as 16-bit samples whatever the pixel type.
bool isAlways16Bit(const mz::ImageReader& reader) {
    return reader.dataType() == QLatin1String("vec") || isCompressed(reader);
}

int sampleBits(const mz::ImageReader& reader) {
    if (isAlways16Bit(reader)) return 16;
    mz::MZImagePixelType type = mz::MZ_UNKNOWN;
    reader.pixType(type);
    if (type == mz::MZ_UCHAR) return 8;
    if (type == mz::MZ_USHORT) return 16;
    QString name = QStringLiteral("an unknown type");
    PixelTypeToQstring(type, name);
    throw Error(QStringLiteral("pixels of %1 cannot be shown as a grey picture").arg(name));
}

struct Promise {
    qint64 samples;
    int bytesOfEach;

    bool isKeptBy(qint64 bytes) const { return bytes / bytesOfEach >= samples; }
};

// What the header promises of each frame as it is stored; empty where it does not say.
std::optional<Promise> promiseOf(const mz::ImageReader& reader) {
    if (reader.dataType() == QLatin1String("vec"))
        return Promise{reader.nbFibers(mz::ImageReader::NoFiberFiltering), 2};
    int width = 0;
    int height = 0;
    mz::MZImagePixelType type = mz::MZ_UNKNOWN;
    reader.pixType(type);
    const int bytes = isAlways16Bit(reader) ? 2 : GetPixBits(type) / 8;
    if (!reader.width(width) || !reader.height(height) || width < 1 || height < 1 || bytes == 0)
        return std::nullopt;
    return Promise{qint64(width) * height, bytes};
}

}  // namespace

bool isCompressed(const mz::ImageReader& reader) {
    QString compression = QStringLiteral("none");
    reader.attribute(QStringLiteral("compression_type"), compression);
    return compression == QLatin1String("z") || compression == QLatin1String("gz") ||
           compression == QLatin1String("bz2");
}

QSize pictureSize(const mz::ImageReader& reader) {
    int width = 0;
    int height = 0;
    if (!reader.width(width) || !reader.height(height) || width < 1 || height < 1)
        throw Error(
            QStringLiteral("%1 does not say how large its pictures are").arg(reader.getFilename()));
    return QSize(width, height);
}

StoredFrame storedFrame(mz::ImageReader& reader, unsigned int index) {
    StoredFrame frame{};
    const auto bytes = reader.getRawFrame(frame.samples, index);
    if (!bytes) throw Error(QStringLiteral("there is no frame %1").arg(index));
    frame.bytes = *bytes;
    const auto promise = promiseOf(reader);
    if (promise && !promise->isKeptBy(frame.bytes))
        throw Error(QStringLiteral("frame %1 is too short: %2 instead of %3 samples of %4 bytes")
                        .arg(index)
                        .arg(frame.bytes / promise->bytesOfEach)
                        .arg(promise->samples)
                        .arg(promise->bytesOfEach));
    return frame;
}

GreyFrame greyFrame(mz::ImageReader& reader, unsigned int index) {
    pictureSize(reader);
    GreyFrame frame{nullptr, sampleBits(reader)};
    if (reader.dataType() == QLatin1String("vec")) {
        if (!reader.getFrame(frame.samples, index))
            throw Error(QStringLiteral("there is no frame %1").arg(index));
        return frame;
    }
    frame.samples = storedFrame(reader, index).samples;
    return frame;
}

QImage thumbnailOf(mz::ImageReader& reader, int frame, QSize largest) {
    QImage image;
    if (!reader.thumbnail(image, largest.width(), largest.height(), frame)) {
        storedFrame(reader, static_cast<unsigned int>(frame));  // which knows more
        throw Error(QStringLiteral("there is no thumbnail of frame %1 of %2")
                        .arg(frame)
                        .arg(reader.getFilename()));
    }
    if (image.format() == QImage::Format_Indexed8 && image.colorCount() == 0) {
        QList<QRgb> greys(256);
        for (int level = 0; level < 256; ++level)
            greys[level] = qRgb(level, level, level);
        image.setColorTable(greys);
    }
    return image;
}

Facts attributeFacts(const mz::AttributeChunk& attributes) {
    Facts facts;
    for (const auto& [key, value] : attributes.attributes())
        facts.emplace_back(key, QString(value._val).replace(QChar(7), QLatin1Char('\n')));
    return facts;
}

}  // namespace examples
