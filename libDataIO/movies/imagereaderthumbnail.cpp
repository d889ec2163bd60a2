// Thumbnails: what the header says about the frame, and the warnings; the pixels are made in
// thumbnail.cpp.

#include <libDataIO/base/framesize.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/movies/imagereaderlog.h>
#include <libDataIO/payloads/thumbnail.h>

#include <cxxabi.h>

namespace mz {

namespace {

constexpr int placeholderDimension = 1;
constexpr int imageDimension = 2;

bool isWholeFrame(ThumbnailGrid const& grid, int bytesPerPixel, size_t size) {
    const auto needed = frameBytes(grid.frameWidth, grid.frameHeight, bytesPerPixel);
    return needed && static_cast<uint64_t>(*needed) <= size;
}

}  // namespace

bool ImageReader::thumbnail(QImage& image, int maxWidth, int maxHeight, int frameIdx) {
    const auto grid = thumbnailGrid(_intOr("width", 0), _intOr("height", 0), maxWidth, maxHeight);
    if (!grid || frameIdx < 0) return false;

    const void* data = nullptr;
    boost::optional<size_t> size;
    try {
        size = _getSizedFrame(data, static_cast<unsigned int>(frameIdx));
    } catch (abi::__forced_unwind const&) {
        throw;  // the thread is being cancelled
    } catch (...) {
        return false;  // logged where it was found; a browser shows nothing for a damaged movie
    }
    if (!size) return false;

    const auto* frame = static_cast<const char*>(data);
    MZImagePixelType type = MZ_UNKNOWN;
    pixType(type);
    switch (type) {
        case MZ_UCHAR:
        case MZ_CHAR:
            return isWholeFrame(*grid, 1, *size) && renderThumbnail8(frame, *grid, image);
        case MZ_USHORT:
        case MZ_SHORT:
            return _thumbnail16(image, *grid, frame, *size);
        default:
            return false;
    }
}

bool ImageReader::_thumbnail16(QImage& image, ThumbnailGrid const& grid, const char* frame,
                               size_t size) const {
    const int dimension = _intOr("datadimension", imageDimension);
    if (dimension == placeholderDimension) {
        image = placeholderThumbnail();
        return true;
    }
    if (dimension != imageDimension || !isWholeFrame(grid, 2, size)) return false;
    const auto maskLevel = static_cast<uint16_t>(getMaskLevel());
    return renderThumbnail16(frame, grid, _contrastPalette(frame, grid), maskLevel, image);
}

/// The movie's palette with its ramp squeezed onto the samples that the frame has.
MzPalette ImageReader::_contrastPalette(const char* frame, ThumbnailGrid const& grid) const {
    MzPalette colors;
    if (!palette(colors)) colors.initDefault();
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
                .arg(_fileName));
    }
    if (faults.minOutside) {
        DATAIO_LOG_WARNING(imageReaderLogger, SOFTWARE, "PIXOUTOFRANGE",
                           QStringLiteral("Min value ouside crop range. "
                                          "min=[%1],cropMin=[%2],cropMax=[%3],fileName=[%4]")
                               .arg(window.min)
                               .arg(cropMin)
                               .arg(cropMax)
                               .arg(_fileName));
    }
    if (faults.maxOutside) {
        DATAIO_LOG_WARNING(imageReaderLogger, SOFTWARE, "PIXOUTOFRANGE",
                           QStringLiteral("Max value outside crop range. "
                                          "max=[%1],cropMin=[%2],cropMax=[%3],fileName=[%4]")
                               .arg(window.max)
                               .arg(cropMin)
                               .arg(cropMax)
                               .arg(_fileName));
    }
    return colors;
}

}  // namespace mz
