// The front of an open movie: its header, and its frames in the forms that callers ask for.

#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/frameloader.h>
#include <libDataIO/movies/framereading.h>
#include <libDataIO/movies/imagereaderlog.h>
#include <libDataIO/movies/moviefibers.h>
#include <libDataIO/movies/moviethumbnail.h>
#include <libDataIO/movies/openmovie.h>

#include <QImage>

#include <cxxabi.h>

#include <utility>

namespace mz {

Logger* const imageReaderLogger = Logger::logger(QStringLiteral("dataio.imagereader"));

namespace {

using ServicePointer = boost::shared_ptr<IReconstructionService>;

ServicePointer& servicePrototype() {
    static ServicePointer prototype;
    return prototype;
}

ServicePointer cloneOfPrototype() {
    const ServicePointer& prototype = servicePrototype();
    return ServicePointer(prototype ? prototype->clone() : nullptr);
}

}  // namespace

struct ImageReader::State {
    OpenMovie movie;
    FrameLoader loader;
    ServicePointer service;
    unsigned int currentFrame = 0;
    QByteArray payload;  ///< of the frame last read by system calls

    void open(const QString& fileName);
    void forget();
    std::optional<FrameView> storedFrame(unsigned int number, bool isLookedAtHere);
    std::optional<FrameView> frame(unsigned int number, bool isLookedAtHere);
};

void ImageReader::State::open(const QString& fileName) try {
    movie.open(fileName);
    currentFrame = 0;
    if (!mz::isVectorized(movie.info())) {
        loader.begin(movie.compression(), false, 0);
        return;
    }
    const std::vector<float> fibers = fiberPositions(movie, NoFiberFiltering);
    loader.begin(movie.compression(), true, static_cast<unsigned int>(fibers.size() / 2));
    if (service) loader.prepareImages(*service, movie.info(), fibers);
} catch (...) {
    forget();
    throw;
}

void ImageReader::State::forget() {
    movie.forget();
    loader.forget();
}

/// Pixels that are only handed out stay in the mapped file. What is looked at here is read, so that
/// a page that the disk cannot give is an error and not a signal.
std::optional<FrameView> ImageReader::State::storedFrame(unsigned int number, bool isLookedAtHere) {
    if (number >= movie.frameCount()) return std::nullopt;
    if (!isLookedAtHere && !loader.looksAtPayload(movie.info())) {
        const std::optional<FrameView> mapped = movie.mappedFrame(number);
        if (mapped) currentFrame = number;
        return mapped;
    }
    if (!movie.read(MZ_CT_FRAME, number, payload)) return std::nullopt;
    currentFrame = number;
    return loader.stored(movie.info(),
                         {payload.constData(), static_cast<std::size_t>(payload.size())});
}

std::optional<FrameView> ImageReader::State::frame(unsigned int number, bool isLookedAtHere) {
    const std::optional<FrameView> stored =
        storedFrame(number, isLookedAtHere || loader.isVectorized());
    if (!stored || !loader.isVectorized()) return stored;
    if (!service) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_UNSUPPORTED_FORMAT",
                    QStringLiteral("File %1: vectorized data unsupported because no reconstruction "
                                   "service provided.")
                        .arg(movie.fileName()));
    }
    return loader.image(*service, *stored);
}

// --- opening and closing ---

ImageReader::ImageReader() : ImageReader(ServicePointer()) {}

ImageReader::ImageReader(ServicePointer service) : _state(std::make_unique<State>()) {
    _state->service = service ? std::move(service) : cloneOfPrototype();
}

ImageReader::ImageReader(std::nullptr_t /*noService*/) : ImageReader() {}

ImageReader::ImageReader(const QString& fileName) : ImageReader() {
    open(fileName);
}

ImageReader::ImageReader(const QString& fileName, ServicePointer service)
    : ImageReader(std::move(service)) {
    open(fileName);
}

ImageReader::ImageReader(std::unique_ptr<State> state) : _state(std::move(state)) {}

ImageReader ImageReader::withoutService(const QString& fileName) {
    auto state = std::make_unique<State>();
    state->open(fileName);
    return ImageReader(std::move(state));
}

ImageReader::~ImageReader() = default;

void ImageReader::setReconstructionServiceFactory(ServicePointer factory) {
    servicePrototype() = std::move(factory);
}

void ImageReader::open(const QString& fileName) {
    close();
    _state->forget();
    _state->open(fileName);
}

void ImageReader::reloadHeader() {
    _state->movie.reloadInfo();
}

void ImageReader::close() {
    _state->movie.close();
}

QString ImageReader::getFilename() const {
    return _state->movie.fileName();
}

void ImageReader::dumpDebug() const {
    _state->movie.info().dumpDebug();
}

// --- frames ---

unsigned int ImageReader::nbFrames() const {
    return _state->movie.frameCount();
}

unsigned int ImageReader::currFrameIdx() const {
    return _state->currentFrame;
}

std::optional<ChunkRecord> ImageReader::frameRecord(unsigned int index) const {
    const std::vector<ChunkRecord>* frames = _state->movie.info().find(MZ_CT_FRAME);
    if (frames == nullptr || index >= frames->size()) return std::nullopt;
    return (*frames)[index];
}

boost::optional<unsigned int> ImageReader::getRawFrame(const void*& data, unsigned int idx) {
    const std::optional<FrameView> frame = _state->storedFrame(idx, false);
    if (!frame) return boost::none;
    data = frame->data;
    return static_cast<unsigned int>(frame->size);
}

std::optional<FrameView> FrameReading::rawFrame(ImageReader& reader, unsigned int index) {
    return reader._state->storedFrame(index, true);
}

bool ImageReader::getFrame(const void*& data, unsigned int idx) {
    const std::optional<FrameView> frame = _state->frame(idx, false);
    if (frame) data = frame->data;
    return frame.has_value();
}

bool ImageReader::nextFrame(const void*& data) {
    const unsigned int current = _state->currentFrame;
    const bool isRead = current < nbFrames() && getFrame(data, current);
    _state->currentFrame = current + 1;
    return isRead;
}

bool ImageReader::rewind() {
    _state->currentFrame = 0;
    return true;
}

bool ImageReader::thumbnail(QImage& image, int maxWidth, int maxHeight, int frameIdx) try {
    const std::optional<ImageSize> size = imageSize(attributeChunk());
    if (!size || frameIdx < 0) return false;
    const auto grid = thumbnailGrid(size->width, size->height, maxWidth, maxHeight);
    if (!grid) return false;
    const auto frame = _state->frame(static_cast<unsigned int>(frameIdx), true);
    return frame && renderThumbnail(*frame, attributeChunk(), *grid, getFilename(), image);
} catch (const abi::__forced_unwind&) {
    throw;  // the thread is being cancelled
} catch (...) {
    return false;  // a browser shows nothing for a damaged movie
}

// --- header ---

AttributeChunk& ImageReader::attributeChunk() {
    return _state->movie.info();
}

const AttributeChunk& ImageReader::attributeChunk() const {
    return _state->movie.info();
}

bool ImageReader::width(int& pixels) const {
    return attribute(keys::width, pixels);
}

bool ImageReader::height(int& pixels) const {
    return attribute(keys::height, pixels);
}

bool ImageReader::frameDelay(int& delay) const {
    return attribute(keys::frameDelay, delay);
}

bool ImageReader::dimension(int& dimension) const {
    return attribute(keys::dimension, dimension);
}

bool ImageReader::pixBits(int& bits) const {
    const std::optional<int> known = pixelBitsOf(attributeChunk());
    if (!known) return attribute(keys::pixelBits, bits);
    bits = *known;
    return true;
}

int ImageReader::pixBytes() const {
    return pixelBytesOf(attributeChunk());
}

bool ImageReader::pixType(MZImagePixelType& type) const {
    type = pixelTypeOf(attributeChunk());
    return type != MZ_UNKNOWN;
}

int ImageReader::endian() const {
    return intAttribute(attributeChunk(), keys::endian, 0);
}

int ImageReader::utcOffsetSeconds(bool& present, bool& trustable) const {
    int offset = 0;
    present = attribute(keys::utcOffset, offset);
    trustable = present && intAttribute(attributeChunk(), keys::utcOffsetUntrustable, 0) == 0;
    return present ? offset : 0;
}

QString ImageReader::dataType() const {
    return mz::dataType(attributeChunk());
}

int ImageReader::getMaskLevel() const {
    return maskLevelOf(attributeChunk());
}

QString ImageReader::getComment() const {
    return multiLineText(attributeChunk(), keys::comment);
}

QString ImageReader::getSpecificComment() const {
    return multiLineText(attributeChunk(), keys::specificComment);
}

bool ImageReader::palette(MzPalette& palette) const {
    const bool found =
        AttributePaletteAdaptor::attributesToPalette(attributeChunk(), palette, QString());
    if (palette._nodes.empty()) palette.initDefault();
    return found;
}

bool ImageReader::attribute(const QString& key, int& value) const {
    return attributeChunk().get(key, value);
}

bool ImageReader::attribute(const QString& key, float& value) const {
    return attributeChunk().get(key, value);
}

bool ImageReader::attribute(const QString& key, double& value) const {
    return attributeChunk().get(key, value);
}

bool ImageReader::attribute(const QString& key, QString& value) const {
    return attributeChunk().get(key, value);
}

void ImageReader::setAttribute(const QString& key, int value) {
    attributeChunk().set(keys::plugPrefix + key, value);
}

void ImageReader::setAttribute(const QString& key, float value) {
    attributeChunk().set(keys::plugPrefix + key, value);
}

void ImageReader::setAttribute(const QString& key, double value) {
    attributeChunk().set(keys::plugPrefix + key, value);
}

void ImageReader::setAttribute(const QString& key, const QString& value) {
    attributeChunk().set(keys::plugPrefix + key, value);
}

void ImageReader::removeAttribute(const QString& key) {
    attributeChunk().erase(key);
}

// --- fibres ---

void ImageReader::getRasterFiberContinuousIndexes(std::vector<float>& out,
                                                  FiberFilteringMode mode) const {
    out = fiberPositions(_state->movie, mode);
}

void ImageReader::getRasterFiberIndexes(std::vector<unsigned int>& out,
                                        FiberFilteringMode mode) const {
    out = roundedPositions(fiberPositions(_state->movie, mode));
}

void ImageReader::getFiberOffsets(std::vector<unsigned int>& out, FiberFilteringMode mode) const {
    // With a fibre in the list the width is known: the list needs it.
    out = pixelOffsets(roundedPositions(fiberPositions(_state->movie, mode)),
                       intAttribute(attributeChunk(), keys::width, 0));
}

void ImageReader::getWorldFiberCenters(std::vector<float>& out, FiberFilteringMode mode) const {
    const std::vector<float> positions = fiberPositions(_state->movie, mode);
    const std::optional<ImageSize> size = imageSize(attributeChunk());
    out = size ? worldPositions(positions, *size) : std::vector<float>();
}

int ImageReader::nbFibers(FiberFilteringMode mode) const {
    return static_cast<int>(fiberPositions(_state->movie, mode).size() / 2);
}

bool ImageReader::getBundleBoundingBox(std::vector<float>& bbox) const {
    const std::optional<BundleBox> box = bundleBox(attributeChunk());
    bbox.clear();
    if (box) bbox = {box->minX, box->minY, box->maxX, box->maxY};
    return box.has_value();
}

// --- laser power and time of frames ---

boost::optional<float> ImageReader::getLaserPower(unsigned int idx) const {
    const std::optional<float> power = _state->movie.power(idx);
    return power ? boost::make_optional(*power) : boost::none;
}

bool ImageReader::getLaserPower(unsigned int idx, float& power) const {
    const boost::optional<float> found = getLaserPower(idx);
    if (found) power = *found;
    return found.has_value();
}

bool ImageReader::laserPower(float& power) const {
    return getLaserPower(currFrameIdx(), power);
}

boost::optional<timeval> ImageReader::getFrameTiming(unsigned int idx) const {
    const FrameTimer& times = _state->movie.times();
    if (idx >= times.size()) return boost::none;
    return times[idx];
}

bool ImageReader::getFrameTiming(unsigned int idx, timeval& time) const {
    const boost::optional<timeval> found = getFrameTiming(idx);
    if (found) time = *found;
    return found.has_value();
}

bool ImageReader::frameTiming(timeval& time) const {
    return getFrameTiming(currFrameIdx(), time);
}

}  // namespace mz
