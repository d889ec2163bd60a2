#include <libDataIO/base/byteorder.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/frameloader.h>
#include <libDataIO/movies/imagereaderlog.h>

#include <algorithm>
#include <limits>
#include <new>
#include <optional>

namespace mz {

namespace {

/// Up to here a frame size is believed; a larger one must be backed by what the file holds.
constexpr int64_t unquestionedBytes = 16 << 20;

/// A bundle samples an image with some ten pixels a fibre; thousands are no reconstruction any
/// more.
constexpr int64_t maxPixelsPerFiber = 4096;

/// The most samples whose bytes getRawFrame can return.
constexpr int64_t maxSamples = std::numeric_limits<unsigned int>::max() / sizeof(uint16_t);

/// What the bundle lies in where a movie does not say.
constexpr float noBound = 5000;

/// Whether so many samples are no more memory than `plausibleBytes` of source justify.
bool isPlausible(int64_t count, uint64_t plausibleBytes) {
    if (count > static_cast<int64_t>(SampleBuffer::most)) return false;
    const int64_t bytes = count * 2;
    return bytes <= unquestionedBytes || static_cast<uint64_t>(bytes) <= plausibleBytes;
}

[[noreturn]] void failFrameSize() {
    DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GRF_SIZE",
                invalidFrameSizeMessage());
}

/// So many zeros. Where there is no memory for them, the size is to blame when it is unusual.
SampleBuffer zeroSamples(int64_t count) {
    try {
        return SampleBuffer(static_cast<size_t>(count));
    } catch (const std::bad_alloc&) {
        if (count * 2 <= unquestionedBytes) throw;
        failFrameSize();
    }
}

bool isInOtherOrder(const AttributeChunk& header) {
    return isOtherByteOrder(intAttribute(header, keys::endian, 0));
}

/// Whether uncompressed samples are of a kind that is swapped, and need it.
bool isSwapped(const AttributeChunk& header) {
    if (!isInOtherOrder(header)) return false;
    const int bytes = pixelBytesOf(header);
    return bytes == 2 || bytes == 4;
}

std::optional<int64_t> pixelCount(ImageSize size) {
    return frameBytes(size.width, size.height, 1);
}

/// Missing sides count as 0.
ImageSize imageSizeOrNone(const AttributeChunk& header) {
    return {intAttribute(header, keys::width, 0), intAttribute(header, keys::height, 0)};
}

}  // namespace

std::optional<int64_t> decodedSamples(const AttributeChunk& header, unsigned int fiberCount,
                                      CompressionType::e compression, size_t payloadSize) {
    const std::optional<int64_t> samples = isVectorized(header)
                                               ? std::make_optional(int64_t{fiberCount})
                                               : pixelCount(imageSizeOrNone(header));
    if (!samples || *samples > maxSamples ||
        !isPlausible(*samples, plausibleDecodedSize(compression, payloadSize))) {
        return std::nullopt;
    }
    return samples;
}

void FrameLoader::begin(CompressionType::e compression, bool isVectorized,
                        unsigned int fiberCount) {
    _compression = compression;
    _isVectorized = isVectorized;
    _fiberCount = fiberCount;
}

void FrameLoader::forget() {
    begin(CompressionType::None, false, 0);
    _decoder.forget();
    _decoded = SampleBuffer();
    _image = SampleBuffer();
}

bool FrameLoader::looksAtPayload(const AttributeChunk& header) const {
    return _compression != CompressionType::None || isSwapped(header);
}

FrameView FrameLoader::stored(const AttributeChunk& header, FrameView payload) {
    if (_compression == CompressionType::None)
        return isSwapped(header) ? _swapped(payload, pixelBytesOf(header)) : payload;

    if (_decoded.empty()) _sizeDecodingBuffer(header, payload.size);
    _decoder.decode(_compression, payload.data, payload.size, _decoded);
    // Behind what was ever written are zeros, whose order does not matter.
    const size_t written = _decoded.written();
    if (isInOtherOrder(header)) copySwapped16(_decoded.data(), _decoded.writable(written), written);
    return {_decoded.data(), _decoded.size() * sizeof(uint16_t)};
}

void FrameLoader::_sizeDecodingBuffer(const AttributeChunk& header, size_t payloadSize) {
    const std::optional<int64_t> samples =
        decodedSamples(header, _fiberCount, _compression, payloadSize);
    if (!samples) failFrameSize();
    _decoded = zeroSamples(*samples);
}

FrameView FrameLoader::_swapped(FrameView payload, int bytesPerPixel) {
    const auto* bytes = static_cast<const unsigned char*>(payload.data);
    _swappedBytes.resize(payload.size);
    if (bytesPerPixel == 2)
        copySwapped16(bytes, _swappedBytes.data(), payload.size / 2);
    else
        copySwapped32(bytes, _swappedBytes.data(), payload.size / 4);
    // A damaged payload may end inside a sample, and its size is what getRawFrame returns.
    const auto rest = static_cast<ptrdiff_t>(payload.size % static_cast<size_t>(bytesPerPixel));
    const unsigned char* const end = bytes + payload.size;
    std::copy(end - rest, end, _swappedBytes.end() - rest);
    return {_swappedBytes.data(), payload.size};
}

void FrameLoader::prepareImages(IReconstructionService& service, const AttributeChunk& header,
                                const std::vector<float>& fibers) {
    const ImageSize size = imageSizeOrNone(header);
    const std::optional<int64_t> samples = pixelCount(size);
    const auto plausibleBytes = static_cast<uint64_t>(_fiberCount * maxPixelsPerFiber * 2);
    if (!samples || !isPlausible(*samples, plausibleBytes)) failFrameSize();
    _image = zeroSamples(*samples);
    service.prepare({fibers.data(), fibers.data() + fibers.size()}, size.width, size.height,
                    floatAttribute(header, keys::fieldOfViewX, 0),
                    floatAttribute(header, keys::fieldOfViewY, 0),
                    floatAttribute(header, keys::bundleMinX, -noBound),
                    floatAttribute(header, keys::bundleMaxX, noBound),
                    floatAttribute(header, keys::bundleMinY, -noBound),
                    floatAttribute(header, keys::bundleMaxY, noBound));
}

FrameView FrameLoader::image(IReconstructionService& service, FrameView samples) {
    if (samples.size / sizeof(uint16_t) < _fiberCount) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GF_SIZE",
                    invalidFrameSizeMessage());
    }
    // In memory of the library's own, since they were read, and so aligned.
    const auto* const input = static_cast<const uint16_t*>(samples.data);
    uint16_t* const pixels = _image.writable(_image.size());
    service.reconstruct({input, input + _fiberCount}, {pixels, pixels + _image.size()});
    return {_image.data(), _image.size() * sizeof(uint16_t)};
}

}  // namespace mz
