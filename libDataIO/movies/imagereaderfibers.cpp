// Fibres, bounding box, laser powers and times of a movie.

#include <libDataIO/payloads/fibergeometry.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/movies/imagereaderlog.h>
#include <libDataIO/payloads/laserpower.h>

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

bool ImageReader::_fiberImageSize(ImageSize& size) const {
    return width(size.width) && height(size.height);
}

void ImageReader::getRasterFiberContinuousIndexes(std::vector<float>& out,
                                                  FiberFilteringMode mode) const {
    if (!_readChunk(MZ_CT_FIBERCENTER, 0)) {
        out.clear();
        return;
    }
    ImageSize size{};
    if (!_fiberImageSize(size)) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GRFI_NOSIZE",
                    QStringLiteral("Size not available."));
    }
    const std::vector<float> fractions =
        decodeFiberFractions(_reader.data(), _reader.chunkSize(), _needSwapping());
    if (fractions.size() % 2 != 0) {
        DATAIO_LOG_INFO(imageReaderLogger, SOFTWARE, "",
                        QStringLiteral("Odd number of floats for fibers! Discarding last float."));
    }
    if (mode < NoFiberFiltering || mode > BundleBoundingBoxFiberFilteringAndSortFibers) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GRFI_UMODE",
                    QStringLiteral("Unknown fiber filtering mode."));
    }
    out = rasterPositions(fractions, size, filterOf(mode), _bundleBox());
    if (isSorted(mode)) sortPositions(out);
}

void ImageReader::getRasterFiberIndexes(std::vector<unsigned int>& out,
                                        FiberFilteringMode mode) const {
    std::vector<float> positions;
    getRasterFiberContinuousIndexes(positions, mode);
    out = roundedPositions(positions);
}

void ImageReader::getFiberOffsets(std::vector<unsigned int>& out, FiberFilteringMode mode) const {
    std::vector<unsigned int> positions;
    getRasterFiberIndexes(positions, mode);
    out.clear();
    // With a fibre in the list the width is known: the list needs it.
    if (!positions.empty()) out = pixelOffsets(positions, _intOr("width", 0));
}

void ImageReader::getWorldFiberCenters(std::vector<float>& out, FiberFilteringMode mode) const {
    std::vector<float> positions;
    getRasterFiberContinuousIndexes(positions, mode);
    out.clear();
    ImageSize size{};
    if (!positions.empty() && _fiberImageSize(size)) out = worldPositions(positions, size);
}

int ImageReader::nbFibers(FiberFilteringMode mode) const {
    std::vector<float> positions;
    getRasterFiberContinuousIndexes(positions, mode);
    return static_cast<int>(positions.size() / 2);
}

bool ImageReader::getBundleBoundingBox(std::vector<float>& bbox) const {
    const boost::optional<BundleBox> box = _bundleBox();
    bbox.clear();
    if (box) bbox = {box->minX, box->minY, box->maxX, box->maxY};
    return box.has_value();
}

boost::optional<BundleBox> ImageReader::_bundleBox() const {
    BundleBox box{};
    const bool complete = _info.get(QStringLiteral("bbox_min_x"), box.minX) &&
                          _info.get(QStringLiteral("bbox_min_y"), box.minY) &&
                          _info.get(QStringLiteral("bbox_max_x"), box.maxX) &&
                          _info.get(QStringLiteral("bbox_max_y"), box.maxY);
    return complete ? boost::make_optional(box) : boost::none;
}

// --- laser powers ---

void ImageReader::_loadLaserPowerChunk() {
    if (!_readChunk(MZ_CT_LASERPOWER, 0) || _reader.chunkSize() != _nbFrames) return;
    _laserPower = decodeLaserPowers(_reader.data(), _reader.chunkSize());
}

boost::optional<float> ImageReader::getLaserPower(unsigned int idx) const {
    if (idx >= _laserPower.size() || _laserPower[idx] < 0) return boost::none;
    return _laserPower[idx];
}

bool ImageReader::getLaserPower(unsigned int idx, float& power) const {
    const boost::optional<float> found = getLaserPower(idx);
    if (found) power = *found;
    return found.has_value();
}

bool ImageReader::laserPower(float& power) const {
    return getLaserPower(_currFrame, power);
}

// --- times ---

void ImageReader::_loadFrameTimer() {
    // Movies recorded before the frame timer had a chunk of its own keep their times in the
    // attributes.
    if (_info.has(MZ_CT_FRAMETIMER)) {
        _loadFrameTimerChunk();
    } else {
        _ftimer.readFromChunkInfo(_info);
    }
}

void ImageReader::_loadFrameTimerChunk() {
    if (!_readChunk(MZ_CT_FRAMETIMER, 0)) return;
    _ftimer.readFromRawBuffer(static_cast<const char*>(_reader.data()), _reader.chunkSize());
}

boost::optional<timeval> ImageReader::getFrameTiming(unsigned int idx) const {
    if (idx >= _ftimer.size()) return boost::none;
    return _ftimer[idx];
}

bool ImageReader::getFrameTiming(unsigned int idx, timeval& time) const {
    const boost::optional<timeval> found = getFrameTiming(idx);
    if (found) time = *found;
    return found.has_value();
}

bool ImageReader::frameTiming(timeval& time) const {
    return getFrameTiming(_currFrame, time);
}

}  // namespace mz
