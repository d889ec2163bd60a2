#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/imagereaderlog.h>
#include <libDataIO/movies/moviethumbnail.h>

namespace mz {

namespace {

constexpr int placeholderDimension = 1;
constexpr int imageDimension = 2;

bool isWholeFrame(FrameView frame, const ThumbnailGrid& grid, int bytesPerPixel) {
    const auto needed = frameBytes(grid.frameWidth, grid.frameHeight, bytesPerPixel);
    return needed && static_cast<uint64_t>(*needed) <= frame.size;
}

/// The movie's palette with its ramp squeezed onto the samples that the frame has.
MzPalette contrastPalette(const char* frame, const AttributeChunk& header,
                          const ThumbnailGrid& grid, const QString& fileName) {
    MzPalette colors;
    const bool isWhole = AttributePaletteAdaptor::attributesToPalette(header, colors, QString());
    if (!isWhole || colors._nodes.empty()) colors.initDefault();
    const ContrastWindow window = contrastWindow(frame, grid.frameWidth, grid.frameHeight);
    const int cropMin = colors._cropMinInt;
    const int cropMax = colors._cropMaxInt;
    const ContrastFaults faults = squeezeRamp(colors, window);
    if (faults.badCropRange) {
        DATAIO_LOG_WARNING(
            imageReaderLogger, SOFTWARE, "PIXOUTOFRANGE",
            QStringLiteral("Bad pelette range. cropMin=[%1],cropMax=[%2],fileName=[%3]")
                .arg(cropMin)
                .arg(cropMax)
                .arg(fileName));
    }
    if (faults.minOutside) {
        DATAIO_LOG_WARNING(imageReaderLogger, SOFTWARE, "PIXOUTOFRANGE",
                           QStringLiteral("Min value ouside crop range. "
                                          "min=[%1],cropMin=[%2],cropMax=[%3],fileName=[%4]")
                               .arg(window.min)
                               .arg(cropMin)
                               .arg(cropMax)
                               .arg(fileName));
    }
    if (faults.maxOutside) {
        DATAIO_LOG_WARNING(imageReaderLogger, SOFTWARE, "PIXOUTOFRANGE",
                           QStringLiteral("Max value outside crop range. "
                                          "max=[%1],cropMin=[%2],cropMax=[%3],fileName=[%4]")
                               .arg(window.max)
                               .arg(cropMin)
                               .arg(cropMax)
                               .arg(fileName));
    }
    return colors;
}

bool renderThumbnailOf16Bits(FrameView frame, const AttributeChunk& header,
                             const ThumbnailGrid& grid, const QString& fileName, QImage& image) {
    const int dimension = intAttribute(header, keys::dimension, imageDimension);
    if (dimension == placeholderDimension) {
        image = placeholderThumbnail();
        return true;
    }
    if (dimension != imageDimension || !isWholeFrame(frame, grid, 2)) return false;
    const auto* pixels = static_cast<const char*>(frame.data);
    return renderThumbnail16(pixels, grid, contrastPalette(pixels, header, grid, fileName),
                             static_cast<uint16_t>(maskLevelOf(header)), image);
}

}  // namespace

bool renderThumbnail(FrameView frame, const AttributeChunk& header, const ThumbnailGrid& grid,
                     const QString& fileName, QImage& image) {
    switch (pixelTypeOf(header)) {
        case MZ_UCHAR:
        case MZ_CHAR:
            return isWholeFrame(frame, grid, 1) &&
                   renderThumbnail8(static_cast<const char*>(frame.data), grid, image);
        case MZ_USHORT:
        case MZ_SHORT:
            return renderThumbnailOf16Bits(frame, header, grid, fileName, image);
        default:
            return false;
    }
}

}  // namespace mz
