#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <examples/support/console.h>
#include <examples/support/pictures.h>

namespace examples {
namespace {

bool isDeep(QImage::Format format) {
    return format == QImage::Format_Grayscale16 || format == QImage::Format_RGBX64 ||
           format == QImage::Format_RGBA64 || format == QImage::Format_RGBA64_Premultiplied;
}

[[noreturn]] void refuse(const QImageReader& reader) {
    throw Error(QStringLiteral("%1 cannot be read as a picture: %2")
                    .arg(reader.fileName(), reader.errorString()));
}

QByteArray packedRows(const QImage& image, int bytesPerPixel) {
    const qsizetype rowBytes = qsizetype(image.width()) * bytesPerPixel;
    QByteArray packed;
    packed.reserve(rowBytes * image.height());
    for (int y = 0; y < image.height(); ++y)
        packed.append(reinterpret_cast<const char*>(image.constScanLine(y)), rowBytes);
    return packed;
}

// Maps [low, high] to [0, 255] and what lies outside to its ends.
QImage stretched(const std::vector<std::uint16_t>& samples, int width, int height) {
    std::vector<std::uint16_t> sorted(samples);
    const auto at = [&](double fraction) {
        const auto rank =
            static_cast<std::ptrdiff_t>(fraction * static_cast<double>(sorted.size() - 1));
        std::nth_element(sorted.begin(), sorted.begin() + rank, sorted.end());
        return static_cast<double>(sorted[static_cast<std::size_t>(rank)]);
    };
    const double low = at(0.005);
    const double scale = 255.0 / std::max(1.0, at(0.995) - low);
    QImage image(width, height, QImage::Format_Grayscale8);
    auto sample = samples.begin();
    for (int y = 0; y < height; ++y)
        std::generate_n(image.scanLine(y), width, [&] {
            return static_cast<uchar>(std::clamp((*sample++ - low) * scale, 0.0, 255.0));
        });
    return image;
}

}  // namespace

QStringList picturesOf(const QString& folder) {
    QStringList files;
    const QFileInfoList entries = QDir(folder).entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo& entry : entries)
        if (!QImageReader::imageFormat(entry.filePath()).isEmpty()) files.append(entry.filePath());
    if (files.isEmpty())
        throw Error(QStringLiteral("%1 holds no picture that can be read").arg(folder));
    return files;
}

PictureSeries surveyPictures(const QStringList& files) {
    PictureSeries series;
    series.files = files;
    for (const QString& file : files) {
        QImageReader reader(file);
        QSize size = reader.size();
        QImage::Format format = reader.imageFormat();
        if (!size.isValid() || format == QImage::Format_Invalid) {  // only reading will tell
            const QImage image = reader.read();
            if (image.isNull()) refuse(reader);
            size = image.size();
            format = image.format();
        }
        if (series.width == 0) {
            series.width = size.width();
            series.height = size.height();
        } else if (size != QSize(series.width, series.height)) {
            throw Error(file +
                        QStringLiteral(" has %1 x %2 pixels, but the first picture has %3 x %4")
                            .arg(size.width())
                            .arg(size.height())
                            .arg(series.width)
                            .arg(series.height));
        }
        series.bits = std::max(series.bits, isDeep(format) ? 16 : 8);
    }
    return series;
}

QByteArray loadSamples(const QString& file, const PictureSeries& series, int bits) {
    QImageReader reader(file);
    const QImage image = reader.read();
    if (image.isNull() || image.size() != QSize(series.width, series.height)) refuse(reader);
    return bits == 16 ? packedRows(image.convertToFormat(QImage::Format_Grayscale16), 2)
                      : packedRows(image.convertToFormat(QImage::Format_Grayscale8), 1);
}

QImage greyPicture(const void* samples, int width, int height, int bits, Contrast contrast) {
    const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (contrast == Contrast::Stretched) {
        std::vector<std::uint16_t> wide(count);
        if (bits == 16)
            std::memcpy(wide.data(), samples, 2 * count);
        else
            std::copy_n(static_cast<const uchar*>(samples), count, wide.begin());
        return stretched(wide, width, height);
    }
    // The samples belong to somebody else, so the picture has to take a copy.
    return QImage(static_cast<const uchar*>(samples), width, height, qsizetype(width) * (bits / 8),
                  bits == 16 ? QImage::Format_Grayscale16 : QImage::Format_Grayscale8)
        .copy();
}

void savePng(const QImage& image, const QString& file) {
    QImageWriter writer(file, "png");
    if (!writer.write(image))
        throw Error(QStringLiteral("%1 cannot be written: %2").arg(file, writer.errorString()));
}

}  // namespace examples
