#include <examples/support/console.h>
#include <examples/support/frames.h>

namespace examples {
namespace {

// Compressed and vectorized frames are handed out as 16-bit samples whatever the pixel type.
bool isAlways16Bit(mz::ImageReader const& reader) {
    QString compression = QStringLiteral("none");
    reader.attribute(QStringLiteral("compression_type"), compression);
    return reader.dataType() == QLatin1String("vec") || compression == QLatin1String("z") ||
           compression == QLatin1String("gz") || compression == QLatin1String("bz2");
}

int sampleBits(mz::ImageReader const& reader) {
    if (isAlways16Bit(reader)) return 16;
    mz::MZImagePixelType type = mz::MZ_UNKNOWN;
    reader.pixType(type);
    if (type == mz::MZ_UCHAR) return 8;
    if (type == mz::MZ_USHORT) return 16;
    QString name = QStringLiteral("an unknown type");
    PixelTypeToQstring(type, name);
    throw Error(QStringLiteral("pixels of %1 cannot be shown as a grey picture").arg(name));
}

}  // namespace

QSize pictureSize(mz::ImageReader const& reader) {
    int width = 0;
    int height = 0;
    if (!reader.width(width) || !reader.height(height) || width < 1 || height < 1)
        throw Error(
            QStringLiteral("%1 does not say how large its pictures are").arg(reader.getFilename()));
    return QSize(width, height);
}

GreyFrame greyFrame(mz::ImageReader& reader, unsigned int index) {
    const QSize size = pictureSize(reader);
    GreyFrame frame{nullptr, sampleBits(reader)};
    if (reader.dataType() == QLatin1String("vec")) {
        if (!reader.getFrame(frame.samples, index))
            throw Error(QStringLiteral("there is no frame %1").arg(index));
        return frame;
    }
    const auto bytes = reader.getRawFrame(frame.samples, index);
    if (!bytes) throw Error(QStringLiteral("there is no frame %1").arg(index));
    if (*bytes < qint64(size.width()) * size.height() * (frame.bits / 8))
        throw Error(QStringLiteral("frame %1 is too short for a picture of %2 x %3 pixels")
                        .arg(index)
                        .arg(size.width())
                        .arg(size.height()));
    return frame;
}

}  // namespace examples
