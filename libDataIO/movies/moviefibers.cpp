#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/imagereaderlog.h>
#include <libDataIO/movies/moviefibers.h>

#include <array>

namespace mz {

namespace {

/// The three filters, each unsorted and sorted.
FiberFilter filterOf(ImageReader::FiberFilteringMode mode) {
    constexpr std::array filters = {FiberFilter::All, FiberFilter::Clamped, FiberFilter::InBundle};
    return filters[static_cast<size_t>(mode) % filters.size()];
}

bool isSorted(ImageReader::FiberFilteringMode mode) {
    return mode >= ImageReader::NoFiberFilteringButSortFibers;
}

}  // namespace

std::vector<float> fiberPositions(OpenMovie& movie, ImageReader::FiberFilteringMode mode) {
    QByteArray payload;
    if (!movie.read(MZ_CT_FIBERCENTER, 0, payload)) return {};
    const std::optional<ImageSize> size = imageSize(movie.info());
    if (!size) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GRFI_NOSIZE",
                    QStringLiteral("Size not available."));
    }
    const std::vector<float> fractions = decodeFiberFractions(
        payload.constData(), static_cast<size_t>(payload.size()), movie.hasOtherByteOrder());
    if (fractions.size() % 2 != 0) {
        DATAIO_LOG_INFO(imageReaderLogger, SOFTWARE, "",
                        QStringLiteral("Odd number of floats for fibers! Discarding last float."));
    }
    if (mode < ImageReader::NoFiberFiltering ||
        mode > ImageReader::BundleBoundingBoxFiberFilteringAndSortFibers) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GRFI_UMODE",
                    QStringLiteral("Unknown fiber filtering mode."));
    }
    std::vector<float> positions =
        rasterPositions(fractions, *size, filterOf(mode), bundleBox(movie.info()));
    if (isSorted(mode)) sortPositions(positions);
    return positions;
}

std::optional<BundleBox> bundleBox(const AttributeChunk& attributes) {
    BundleBox box{};
    const bool isComplete =
        attributes.get(keys::bundleMinX, box.minX) && attributes.get(keys::bundleMinY, box.minY) &&
        attributes.get(keys::bundleMaxX, box.maxX) && attributes.get(keys::bundleMaxY, box.maxY);
    return isComplete ? std::make_optional(box) : std::nullopt;
}

}  // namespace mz
